#pragma once

/// Sees to it that drives can be read raw: without administrator rights, nor a service that opens
/// drives for whom it may, it starts this program anew with them, at most once, or tells the user
/// to. True when this instance has to end.
[[nodiscard]] bool restartAsAdmin();
