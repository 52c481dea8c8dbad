#pragma once

/// Shows the window and returns the exit code once it has been closed.
[[nodiscard]] int runWizard();
