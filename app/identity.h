#pragma once

/// Tells the application object, which must exist, what program this is.
void setIdentity();
