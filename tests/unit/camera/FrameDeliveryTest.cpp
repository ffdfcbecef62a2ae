#include "support/CaptureScreen.h"

#include <gtest/gtest.h>

namespace tamsel::tests {

TEST(FrameDelivery, BringsEveryFrameToTheClientInOrder)
{
    CaptureScreen screen;
    screen.startAndRun();
    for (int number = 0; number < 5; ++number)
        screen.frame();
    ASSERT_EQ(screen.client->frames.size(), 5U);
}

} // namespace tamsel::tests
