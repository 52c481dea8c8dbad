#pragma once

#include <memory>

namespace sound {

struct ComRelease {
    template <class Interface>
    void operator()(Interface* object) const {
        object->Release();
    }
};

/// Owns one reference to an object of the system.
template <class Interface>
using ComPointer = std::unique_ptr<Interface, ComRelease>;

} // namespace sound
