#include <tamsel/platform/FrameLedger.h>
#include <tamsel/platform/Geometry.h>
#include <tamsel/platform/NotificationCenter.h>
#include <tamsel/platform/UIDevice.h>
#include <tamsel/platform/debugDescription.h>

#include <gtest/gtest.h>

#include <latch>
#include <limits>
#include <thread>

namespace tamsel::tests {

using namespace platform;

TEST(AffineTransforms, AreInvertedWhereThatIsPossible)
{
    const CGAffineTransform turned{0, 1, -1, 0, 360, 20};
    EXPECT_EQ(CGAffineTransformInvert(turned), (CGAffineTransform{0, -1, 1, 0, -20, 360}));
    EXPECT_EQ(CGAffineTransformInvert(CGAffineTransformInvert(turned)), turned);
    for (const CGAffineTransform& odd :
        {CGAffineTransform{1, 2, 2, 4, 5, 6}, CGAffineTransform{0.1, 0.3, 0.1, 0.3, 1, 1},
            CGAffineTransform{.a = 0}, CGAffineTransform{.a = std::numeric_limits<double>::infinity()}})
        EXPECT_EQ(CGAffineTransformInvert(odd), odd);
}

TEST(DebugText, IsQuotedAndEscaped)
{
    EXPECT_EQ(debugDescription("Source Manager deinit"), "\"Source Manager deinit\"");
    using namespace std::string_literals;
    EXPECT_EQ(debugDescription("a\"\\\n\t\0\x01\x1b\x7f ü"s), R"("a\"\\\n\t\0\u{1}\u{1B}\u{7F} ü")");
}

TEST(SystemVersion, IsComparedByNumbers)
{
    struct Versioned final : UIDevice {
        explicit Versioned(std::string given) : version(std::move(given)) { }
        [[nodiscard]] UIDeviceOrientation orientation() const override
        {
            return UIDeviceOrientation::unknown;
        }
        [[nodiscard]] std::string systemVersion() const override { return version; }
        [[nodiscard]] std::string model() const override { return {}; }
        std::string version;
    };
    for (const char* later : {"13.0", "13", "13.0.1", "13.10", "16.4", "113.0"})
        EXPECT_TRUE(isSystemVersionAtLeast(Versioned(later), 13, 0)) << later;
    for (const char* earlier : {"12.9", "9.3.5", "", "x", "1.13", "-14.0"})
        EXPECT_FALSE(isSystemVersionAtLeast(Versioned(earlier), 13, 0)) << earlier;
    EXPECT_TRUE(isSystemVersionAtLeast(Versioned("13.10"), 13, 9));
    EXPECT_FALSE(isSystemVersionAtLeast(Versioned("16x4"), 16, 1));
}

TEST(Notifications, ReachLivingObserversOfTheirNameInTheOrderOfRegistration)
{
    struct Observer {
        explicit Observer(std::vector<int>& log, int own) : calls(log), number(own) { }
        void noticed() { calls.push_back(number); }
        std::vector<int>& calls;
        int number;
    };
    std::vector<int> calls;
    NotificationCenter center;
    auto first = std::make_shared<Observer>(calls, 1);
    auto second = std::make_shared<Observer>(calls, 2);
    center.addObserver(first, "a", &Observer::noticed);
    center.addObserver(second, "a", &Observer::noticed);
    center.addObserver(second, "b", &Observer::noticed);
    center.addObserver(first, "a", [&](const Notification& notification) {
        EXPECT_EQ(notification.object, second);
        center.removeObserver(second.get()); // from inside a call
        calls.push_back(3);
    });
    center.post("a", second);
    EXPECT_EQ(calls, (std::vector{1, 2, 3}));
    center.post("b");
    first.reset();
    center.post("a");
    EXPECT_EQ(calls.size(), 3U);
}

TEST(Notifications, HandlersMayHoldWhatAsksTheCenterWhenItGoes)
{
    NotificationCenter center;
    int gone = 0;
    const auto watch = [&center, &gone](const std::shared_ptr<int>& owner) {
        std::shared_ptr<void> held(&center, [&](void*) {
            center.removeObserver(nullptr);
            ++gone;
        });
        center.addObserver(owner, "a", [held = std::move(held)](const Notification&) { (void)held; });
    };
    auto owner = std::make_shared<int>();
    watch(owner);
    owner.reset();
    owner = std::make_shared<int>();
    watch(owner); // takes the first one out
    EXPECT_EQ(gone, 1);
    center.removeObserver(owner.get());
    EXPECT_EQ(gone, 2);
}

TEST(FrameLedgers, CloseTheirSumAlsoWhileFramesFlow)
{
    const auto ledger = std::make_shared<FrameLedger>();
    constexpr int frames = 20'000;
    std::latch begin(3);
    const auto produce = [&](int offset) {
        begin.arrive_and_wait();
        for (int number = 0; number < frames; ++number) {
            FrameTicket ticket(ledger);
            if ((number + offset) % 3 == 0)
                ticket.settle(FrameLedger::Outcome::delivered);
            else if ((number + offset) % 3 == 1) {
                ticket.setDropCause(DropCause::late);
                ticket.settle(FrameLedger::Outcome::dropped);
            }
        }
    };
    std::jthread one(produce, 0);
    std::jthread two(produce, 1);
    begin.arrive_and_wait();
    FrameCounts counts;
    do {
        counts = ledger->counts();
        ASSERT_EQ(counts.produced, counts.delivered + counts.dropped() + counts.gated + counts.inFlight);
        ASSERT_LE(counts.inFlight, counts.produced);
    } while (counts.produced < 2 * frames || counts.inFlight > 0);
    one.join();
    two.join();
    EXPECT_EQ(counts.droppedBy[static_cast<std::size_t>(DropCause::noReceiver)], 2U * frames / 3);
}

TEST(FrameLedgers, SettleATicketOnce)
{
    const auto ledger = std::make_shared<FrameLedger>();
    FrameTicket ticket(ledger);
    FrameTicket moved = std::move(ticket);
    moved.settle(FrameLedger::Outcome::delivered);
    moved.settle(FrameLedger::Outcome::gated);
    moved = FrameTicket(ledger);
    moved = {};
    const FrameCounts counts = ledger->counts();
    EXPECT_EQ(counts.produced, 2U);
    EXPECT_EQ(counts.delivered, 1U);
    EXPECT_EQ(counts.dropped(), 1U);
}

} // namespace tamsel::tests
