#pragma once

#include <string>

namespace platform {

/// Sets a variable of this process' environment for the libraries in it that look there. To be
/// called before there are other threads.
void setEnvironment(const std::string& name, const std::string& value);

} // namespace platform
