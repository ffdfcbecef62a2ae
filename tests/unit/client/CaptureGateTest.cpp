#include "support/CaptureScreen.h"

#include <tamsel/client/CaptureGate.h>

#include <gtest/gtest.h>

namespace tamsel::tests {

using namespace platform;
using Condition = CaptureCondition;
using Type = MetadataObjectType;

namespace {

/// A gate that is told by hand what a manager would tell it, on the response queue.
class CaptureGateTest : public testing::Test {
protected:
    void make(
        std::vector<Condition> conditions, std::chrono::nanoseconds viewTime = CaptureGate::defaultViewTime)
    {
        gate_ = CaptureGate::create(
            std::move(conditions), screen_.responseQueue,
            [this] {
                EXPECT_TRUE(screen_.responseQueue->isCurrent());
                ++openings_;
                if (whenOpen_)
                    whenOpen_();
            },
            screen_.phone.platform(), viewTime);
    }

    void tell(const std::function<void(CaptureGate&, OvriSourceManager&)>& news)
    {
        screen_.responseQueue->async([this, &news] { news(*gate_, *screen_.manager); });
        screen_.phone.run();
    }
    void still(bool isStable)
    {
        tell([=](CaptureGate& gate, OvriSourceManager& manager) {
            gate.sourceManagerDidDetectStability(manager, isStable);
        });
    }
    void tilted(bool isFacing)
    {
        tell([=](CaptureGate& gate, OvriSourceManager& manager) {
            gate.sourceManagerDidDetectFacingAngle(manager, isFacing);
        });
    }
    void codes(const std::vector<std::optional<Type>>& types)
    {
        std::vector<OvriMetadataMachineReadableCodeObject> codes;
        for (const std::optional<Type> type : types)
            codes.emplace_back(type, std::vector<CGPoint>{}, "value");
        tell([&](CaptureGate& gate, OvriSourceManager& manager) {
            gate.sourceManagerDidDetect(manager, codes);
        });
    }
    /// Only the library makes one, so a camera must have seen it.
    void face()
    {
        screen_.manager->setFaceMetadataDetection(screen_.client);
        screen_.startAndRun();
        screen_.phone.detector().show({std::make_shared<AVMetadataFaceObject>(CGRect{}, 1)});
        screen_.frame();
        ASSERT_EQ(screen_.client->faces.size(), 1U);
        tell([this](CaptureGate& gate, OvriSourceManager& manager) {
            gate.sourceManagerDidDetect(manager, screen_.client->faces.front());
        });
    }
    void arm()
    {
        gate_->arm();
        screen_.phone.run();
    }

    CaptureScreen screen_;
    std::shared_ptr<CaptureGate> gate_;
    std::function<void()> whenOpen_;
    int openings_ = 0;
};

} // namespace

TEST_F(CaptureGateTest, OpensOnceAllConditionsHoldAtTheSameTime)
{
    make({Condition::still(), Condition::tilted(), Condition::code(Type::pdf417), Condition::face()});
    arm();
    EXPECT_EQ(gate_->missing().size(), 4U);
    still(true);
    codes({Type::pdf417});
    still(false);
    tilted(true);
    face();
    EXPECT_EQ(gate_->missing(), std::vector{Condition::still()});
    EXPECT_EQ(openings_, 0);
    still(true);
    EXPECT_EQ(openings_, 1);
    EXPECT_FALSE(gate_->isArmed());
}

TEST_F(CaptureGateTest, WhatWasSeenCountsForAWhile)
{
    make({Condition::still(), Condition::code(Type::qr)});
    arm();
    codes({Type::ean13, std::nullopt});
    still(true);
    EXPECT_EQ(openings_, 0) << "another kind";
    still(false);
    codes({Type::ean13, Type::qr});
    screen_.phone.advance(301ms);
    EXPECT_EQ(gate_->missing().size(), 2U);
    still(true);
    EXPECT_EQ(openings_, 0) << "seen too long ago";
    still(false);
    codes({Type::qr});
    screen_.phone.advance(300ms);
    still(true);
    EXPECT_EQ(openings_, 1);

    // Others in between do not take it out of view, and a face is no code.
    make({Condition::still(), Condition::code(Type::qr)}, 1s);
    arm();
    codes({Type::qr});
    screen_.phone.advance(500ms);
    codes({Type::ean8});
    screen_.phone.advance(500ms);
    still(true);
    EXPECT_EQ(openings_, 2);
    make({Condition::code()});
    arm();
    face();
    EXPECT_EQ(openings_, 2);
    openings_ = 1;

    make({Condition::code()});
    arm();
    codes({});
    EXPECT_EQ(openings_, 1);
    codes({std::nullopt});
    EXPECT_EQ(openings_, 2) << "any kind, also one without a name";
}

TEST_F(CaptureGateTest, TakesNoSecondShotOfTheSameThing)
{
    make({Condition::still(), Condition::tilted()});
    whenOpen_ = [this] { gate_->arm(); }; // as eager as a screen can be
    arm();
    tilted(true);
    still(true);
    EXPECT_EQ(openings_, 1);
    still(true);
    tilted(true);
    gate_->cancel();
    arm();
    screen_.phone.advance(1min);
    EXPECT_EQ(openings_, 1) << "nothing has moved since";
    whenOpen_ = nullptr;
    gate_->retry();
    gate_->retry();
    EXPECT_EQ(openings_, 1) << "never inside an operation of its own";
    screen_.phone.run();
    EXPECT_EQ(openings_, 2) << "all conditions hold still";
    openings_ = 1;
    whenOpen_ = [this] { gate_->arm(); };
    arm();
    still(false);
    still(true);
    EXPECT_EQ(openings_, 2);

    // That it moved counts also while nobody waits.
    whenOpen_ = {};
    still(false);
    still(true);
    ASSERT_EQ(openings_, 3);
    tilted(false);
    tilted(true);
    EXPECT_EQ(openings_, 3);
    arm();
    EXPECT_EQ(openings_, 4);
}

TEST_F(CaptureGateTest, ACodeMustGoOutOfViewBeforeItIsTakenAgain)
{
    make({Condition::code(Type::qr)});
    whenOpen_ = [this] { gate_->arm(); };
    arm();
    for (int look = 0; look < 20; ++look) {
        codes({Type::qr});
        screen_.phone.advance(100ms);
    }
    EXPECT_EQ(openings_, 1);
    screen_.phone.advance(300ms);
    codes({Type::qr});
    EXPECT_EQ(openings_, 2);
    for (int look = 0; look < 4; ++look) {
        screen_.phone.advance(100ms);
        codes({Type::ean8});
    }
    codes({Type::qr});
    EXPECT_EQ(openings_, 3) << "another one in between, long enough";
}

TEST_F(CaptureGateTest, DoesNotOpenAfterItWasCancelled)
{
    make({});
    gate_->arm();
    gate_->cancel();
    screen_.phone.run();
    EXPECT_EQ(openings_, 0) << "not even when it was about to";
    for (int shot = 1; shot <= 3; ++shot) {
        arm();
        EXPECT_EQ(openings_, shot) << "without conditions the screen asks for each";
    }
    make({Condition::still()});
    arm();
    gate_->cancel();
    still(true);
    EXPECT_EQ(openings_, 3);
    gate_->arm();
    gate_.reset();
    screen_.phone.run();
    EXPECT_EQ(openings_, 3) << "nor when it is gone";
}

TEST_F(CaptureGateTest, MayBeReplacedInTheCallThatItMakes)
{
    make({Condition::still()});
    const std::weak_ptr<CaptureGate> first = gate_;
    whenOpen_ = [this, kept = std::make_shared<int>(7)] {
        make({Condition::still()}); // nobody else holds the one that calls
        EXPECT_EQ(*kept, 7);
    };
    arm();
    screen_.responseQueue->async(
        [this] { gate_.get()->sourceManagerDidDetectStability(*screen_.manager, true); });
    screen_.phone.run();
    EXPECT_EQ(openings_, 1);
    EXPECT_TRUE(first.expired());
}

} // namespace tamsel::tests
