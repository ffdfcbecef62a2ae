#include "support/BusServices.h"
#include "support/HostScreen.h"
#include "support/Program.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tamsel::tests {

using Status = platform::AVAuthorizationStatus;

namespace {

/// A screen whose camera needs the permission of the person, and the answers to its requests.
struct PermittedScreen : HostScreen {
    explicit PermittedScreen(std::function<void(std::string_view)> writeLine = [](std::string_view) { })
        : HostScreen(host::HostConfiguration{.backCamera = host::HostInput{.input = "test:64x48@100"},
                         .permission = host::PermissionSource::person},
              std::move(writeLine))
    {
    }

    [[nodiscard]] Status status()
    {
        return host.platform().capture.authorizationStatus(platform::AVMediaType::video);
    }
    void request()
    {
        host.requestVideoAccess([this](Status answer) { answers.push_back(answer); });
    }
    std::optional<Status> ask()
    {
        answers.clear();
        request();
        return runUntil([&] { return !answers.empty(); }) ? std::optional(answers.front()) : std::nullopt;
    }

    std::vector<Status> answers;
};

class CameraPermission : public testing::Test {
protected:
    void SetUp() override
    {
        if (!BusServices::arePossible())
            GTEST_SKIP() << "xdg-desktop-portal, pipewire or python3-dbusmock is not installed";
        desktop.emplace("portal.py");
    }

    std::optional<BusServices> desktop;
};

} // namespace

TEST_F(CameraPermission, IsGrantedOrRefusedByThePerson)
{
    (*desktop)("portal start");
    {
        PermittedScreen screen;
        EXPECT_EQ(screen.status(), Status::notDetermined);
        EXPECT_FALSE(screen.start());
        (*desktop)("answer denied");
        EXPECT_EQ(screen.ask(), Status::denied);
        EXPECT_FALSE(screen.start());
        EXPECT_EQ((*desktop)("shown 1"), "1");
        EXPECT_EQ(screen.ask(), Status::denied) << "it is remembered";
        EXPECT_EQ((*desktop)("shown 1"), "1");
    }
    (*desktop)("permission none");
    (*desktop)("answer later");
    PermittedScreen screen;
    screen.request();
    screen.request();
    EXPECT_EQ((*desktop)("shown 2"), "2");
    EXPECT_EQ(screen.status(), Status::notDetermined);
    (*desktop)("answer granted");
    EXPECT_TRUE(screen.runUntil([&] { return screen.answers.size() == 2; }));
    EXPECT_EQ(screen.answers, (std::vector{Status::authorized, Status::authorized}));
    EXPECT_EQ((*desktop)("shown 2"), "2");
    EXPECT_FALSE(screen.collect(3).empty());
}

} // namespace tamsel::tests
