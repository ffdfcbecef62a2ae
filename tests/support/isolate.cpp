#include <cstdlib>

namespace {

/// Neither the lock of this machine nor its sensors or cameras are part of a test, nor the dialogs of its desktop.
[[maybe_unused]] const bool isIsolated = [] {
    for (const char* name : {"DBUS_SYSTEM_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS"})
        setenv(name, "unix:path=/nowhere", 1);
    setenv("PIPEWIRE_REMOTE", "/nowhere", 1);
    return true;
}();

} // namespace
