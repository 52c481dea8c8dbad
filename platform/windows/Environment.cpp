#include "platform/Environment.h"

#include <stdlib.h>

namespace platform {

void setEnvironment(const std::string& name, const std::string& value) {
    _putenv_s(name.c_str(), value.c_str());
}

} // namespace platform
