#include "cli/Interruption.h"

#include "platform/Terminal.h"

std::atomic<bool> Interruption::requested_{false};

void Interruption::watch() {
    platform::onInterrupt(requested_);
}
