#pragma once

namespace tamsel::host {

/// The events of the machine that the host follows, through services of the system bus, in a build with libsystemd. A
/// service that is absent, or that disappears, is followed from when it appears.
struct FollowedEvents {
    /// The orientation of the device, from iio-sensor-proxy. Once the program sets it, the program's counts.
    bool deviceOrientation = true;
    /// Turns the interface with the device. Once the program sets it, the program's counts.
    bool interfaceOrientation = false;

    // From logind. The application is in the background while one of these holds, or the program says so.

    /// The machine sleeps. It waits, for as long as logind permits, until all sessions have stopped and all movies are
    /// complete.
    bool sleep = true;
    /// The login session of this process, or of its user, is locked.
    bool lock = true;
    /// Another session has the screen.
    bool userSwitch = true;

    bool operator==(const FollowedEvents&) const = default;
};

} // namespace tamsel::host
