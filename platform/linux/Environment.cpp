#include "platform/Environment.h"

#include <cstdlib>

namespace platform {

void setEnvironment(const std::string& name, const std::string& value) {
    ::setenv(name.c_str(), value.c_str(), 1);
}

} // namespace platform
