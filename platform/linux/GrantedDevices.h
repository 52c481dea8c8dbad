#pragma once

#include "platform/File.h"
#include "platform/linux/UDisks.h"

#include <map>
#include <mutex>
#include <string>

#include <sys/types.h>

namespace platform {

/// The devices that UDisks2 has opened for this process. Each is kept, so that nobody is asked
/// twice for the same medium. May be used from any thread; a second
/// one waits until the first has its answer.
class GrantedDevices {
public:
    /// From now on the service is asked.
    void enable() { isEnabled_ = true; }

    /// The block device at `node`, which is the one with this number, opened for reading. A
    /// descriptor of anything else, or one that can write, is refused, whoever hands it over.
    [[nodiscard]] UDisks::Opened open(const std::string& node, dev_t number);

private:
    struct Granted {
        FileIdentity medium;
        Descriptor file;
    };

    [[nodiscard]] Descriptor kept(dev_t number);

    [[nodiscard]] UDisks::Opened ask(const std::string& node, dev_t number);

    bool isEnabled_ = false;
    std::mutex asking_; ///< Held while the person is asked: one question at a time.
    std::map<dev_t, Granted> granted_;
};

/// Those of this process.
[[nodiscard]] GrantedDevices& grantedDevices();

} // namespace platform
