#pragma once

#include <tamsel/facade/SessionObserver.h>
#include <tamsel/platform/Platform.h>

namespace tamsel {

/// Calls the observer of the platform, if there is one, and the delegate.
template <typename Delegate, typename Call>
void tell(const platform::Platform& platform, Delegate& delegate, const Call& call)
{
    if (Delegate* observer = platform.observer)
        call(*observer);
    call(delegate);
}

} // namespace tamsel
