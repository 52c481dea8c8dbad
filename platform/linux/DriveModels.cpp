#include "platform/linux/DriveModels.h"

#include <cstddef>
#include <string_view>

namespace platform {

namespace {

constexpr std::string_view kBlock = "org.freedesktop.UDisks2.Block";
constexpr std::string_view kDrive = "org.freedesktop.UDisks2.Drive";

/// What is taken of one object of the service's: a block device, or the hardware.
struct Object {
    std::string device; ///< Its node.
    std::string drive;  ///< The object of the hardware it lies on.
    std::string vendor;
    std::string model;
};

std::string textOf(sd_bus_message* message, char type) {
    const char* text = nullptr;
    return sd_bus_message_read_basic(message, type, &text) > 0 ? text : std::string();
}

/// Calls `read` in each entry of a dictionary. False when the message is none of this form.
template <typename Read>
bool readEntries(sd_bus_message* message, const char* entry, const Read& read) {
    const std::string array = '{' + std::string(entry) + '}';
    if (sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, array.c_str()) <= 0)
        return false;
    while (sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, entry) > 0) {
        if (!read() || sd_bus_message_exit_container(message) < 0)
            return false;
    }
    return sd_bus_message_exit_container(message) >= 0;
}

/// The text in a variant; bytes are one with a zero at its end.
bool readVariant(sd_bus_message* message, char type, std::string& text) {
    const bool isBytes = type == SD_BUS_TYPE_ARRAY;
    const char contents[] = {type, '\0'};
    if (sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, isBytes ? "ay" : contents) <=
        0)
        return false;
    if (isBytes) {
        const void* bytes = nullptr;
        std::size_t size = 0;
        if (sd_bus_message_read_array(message, SD_BUS_TYPE_BYTE, &bytes, &size) < 0)
            return false;
        const std::string_view all(static_cast<const char*>(bytes), size);
        text = all.substr(0, all.find('\0'));
    } else {
        text = textOf(message, type);
    }
    return sd_bus_message_exit_container(message) >= 0;
}

bool readProperty(sd_bus_message* message, std::string_view interface, Object& object) {
    const std::string name = textOf(message, SD_BUS_TYPE_STRING);
    if (interface == kBlock && name == "Device")
        return readVariant(message, SD_BUS_TYPE_ARRAY, object.device);
    if (interface == kBlock && name == "Drive")
        return readVariant(message, SD_BUS_TYPE_OBJECT_PATH, object.drive);
    if (interface == kDrive && name == "Vendor")
        return readVariant(message, SD_BUS_TYPE_STRING, object.vendor);
    if (interface == kDrive && name == "Model")
        return readVariant(message, SD_BUS_TYPE_STRING, object.model);
    return sd_bus_message_skip(message, "v") >= 0;
}

bool readObject(sd_bus_message* message, Object& object) {
    return readEntries(message, "sa{sv}", [&] {
        const std::string interface = textOf(message, SD_BUS_TYPE_STRING);
        return readEntries(message, "sv", [&] { return readProperty(message, interface, object); });
    });
}

} // namespace

DriveModels readDriveModels(sd_bus_message* message) {
    std::map<std::string, std::string> nameOfDrive;
    std::map<std::string, std::string> driveOfDevice;
    readEntries(message, "oa{sa{sv}}", [&] {
        const std::string path = textOf(message, SD_BUS_TYPE_OBJECT_PATH);
        Object object;
        if (!readObject(message, object))
            return false;
        if (!object.device.empty())
            driveOfDevice[object.device] = object.drive;
        const bool both = !object.vendor.empty() && !object.model.empty();
        nameOfDrive[path] = object.vendor + (both ? " " : "") + object.model;
        return true;
    });
    DriveModels models;
    for (const auto& [device, drive] : driveOfDevice) {
        const auto found = nameOfDrive.find(drive);
        if (found != nameOfDrive.end() && !found->second.empty())
            models[device] = found->second;
    }
    return models;
}

} // namespace platform
