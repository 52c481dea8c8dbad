#pragma once

#include <QString>

/// Shows an address in the user's browser. An empty or unusable one does nothing, and nobody is
/// told when it fails.
void openUrl(const QString& url);
