// A capture screen in a window: capture-screen [INPUT [FRONT INPUT]]. An input is what the host takes: a device, a file, a
// stream, a test pattern.

#include "CaptureScreen.h"

#include <host/Host.h>

#include <cstdio>
#include <exception>

int main(int count, char** arguments)
{
    using namespace tamsel;
    try {
        host::HostConfiguration configuration;
        configuration.backCamera = host::HostInput{.input = count > 1 ? arguments[1] : "auto"};
        if (count > 2)
            configuration.frontCamera = host::HostInput{.input = arguments[2]};
        host::Host host(configuration);
        host.requestVideoAccess([](auto) { }); // the screen starts when it is given
        const screen::CaptureScreen screen({}, host.platform(), [&host] { host.stop(); });
        host.run();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "capture-screen: %s\n", error.what());
        return 1;
    }
}
