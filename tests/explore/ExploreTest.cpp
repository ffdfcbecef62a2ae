#include <simulated/Order.h>
#include <simulated/explore.h>

#include <tamsel/client/SourceCallbacks.h>
#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/platform/RunLoop.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::tests {

using namespace std::chrono_literals;
using simulated::explore;
using simulated::ExploreResult;
using simulated::Phone;
using Problem = std::optional<std::string>;

namespace {

/// Each letter is an item of the queue of that name, all posted at 5 ms. The order in which they run.
std::string race(Phone& phone, const std::string& letters, std::chrono::nanoseconds duration = 100ms)
{
    std::string history;
    std::map<char, std::shared_ptr<platform::DispatchQueue>> queues;
    for (const char letter : letters)
        queues.try_emplace(letter, phone.makeQueue(std::string("client.") + letter));
    phone.at(5ms, "go", [&] {
        for (const char letter : letters)
            queues.at(letter)->async([&history, letter] { history += letter; });
    });
    phone.advance(duration);
    return history;
}

Problem failIf(bool condition)
{
    return condition ? Problem("wrong order") : std::nullopt;
}

std::size_t lineCount(const ExploreResult& result)
{
    std::ostringstream text;
    text << result;
    const std::string lines = text.str();
    return static_cast<std::size_t>(std::ranges::count(lines, '\n'));
}

std::string errorOf(const std::function<void()>& call)
{
    try {
        call();
    } catch (const std::exception& error) {
        return error.what();
    }
    return {};
}

} // namespace

TEST(Explore, TriesEachOrderOfABoundOnce)
{
    // So many of all 6 orders of three items need so many delays.
    for (const auto& [delays, orders] : {std::pair(0U, 1U), {1U, 3U}, {2U, 5U}, {3U, 6U}, {9U, 6U}}) {
        std::vector<std::string> histories;
        const ExploreResult result
            = explore({.runs = 8 * 60, .maximumDelays = delays}, [&](Phone& phone) -> Problem {
                  histories.push_back(race(phone, "abc"));
                  return std::nullopt;
              });
        EXPECT_TRUE(result.isComplete);
        EXPECT_EQ(result.runs, 480U);
        EXPECT_EQ(result.tried.at(2).substr(result.tried.at(2).find(':')),
            ": all " + std::to_string(orders) + (orders == 1 ? " order tried" : " orders tried"));
        const auto first = histories.begin() + 1 + 60; // after the seeds
        EXPECT_EQ(std::set<std::string>(first, first + orders - 1).size(), orders - 1);
        EXPECT_EQ(histories.front(), "abc");
    }
    EXPECT_FALSE(explore({.runs = 20, .maximumDelays = 5}, [](Phone& phone) {
        return failIf(race(phone, "abcdefgh").empty());
    }).isComplete);
}

TEST(Explore, ReducesAFailureToWhatMattersAndReplaysIt)
{
    const auto scenario
        = [](Phone& phone) { return failIf(race(phone, "abcdefgh").find("ha") != std::string::npos); };
    const ExploreResult result = explore({}, scenario);
    ASSERT_TRUE(result.failure);
    EXPECT_EQ(result.failure->reason, "wrong order");
    EXPECT_EQ(result.failure->order, std::vector<std::string>{"\"h\" before \"a\" at 5 ms"});
    EXPECT_LE(lineCount(result), 12U);
    Phone again({.replay = result.failure->replay});
    EXPECT_EQ(race(again, "abcdefgh"), "habcdefg");
    Phone longer({.replay = result.failure->replay});
    EXPECT_EQ(race(longer, "abcdefghabab", 2s).substr(0, 2), "ha") << "what comes later makes no difference";

    const auto whatFits = [&](const std::string& letters) {
        return errorOf([&] {
            Phone phone({.replay = result.failure->replay});
            race(phone, letters);
        });
    };
    EXPECT_EQ(whatFits("abcdefgx"),
        "the replay does not fit: its choice 1 of 1 was among other events than \"client.a\" \"client.b\" "
        "\"client.c\" \"client.d\" \"client.e\" \"client.f\" \"client.g\" \"client.x\" at 5 ms");
    EXPECT_NE(whatFits("abc"), "");
    testing::internal::CaptureStderr();
    EXPECT_EQ(whatFits("a"), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
        "tamsel: the replay does not fit: the scenario has ended after 0 of its 1 choices\n");
    for (const char* text :
        {"order2 0:1:a", "order1 0:0:a", "order1 0:1", "order1 1:1:a 1:1:a", "order1 late=-1", "order1 x=1"})
        EXPECT_NE(errorOf([&] { Phone phone({.replay = text}); }), "") << text;
}

TEST(Explore, SaysWhenAFailureIsNotOneOfTheOrder)
{
    int runs = 0;
    const ExploreResult result
        = explore({}, [&](Phone& phone) { return failIf(race(phone, "abc").empty() || ++runs == 5); });
    ASSERT_TRUE(result.failure);
    EXPECT_NE(result.failure->reason.find("depends on more than the phone"), std::string::npos);
    EXPECT_EQ(explore({}, [](Phone&) -> Problem { throw std::runtime_error("broken"); }).failure->reason,
        "exception: broken");
}

TEST(Explore, GivesTheSameResultOnAnyNumberOfThreads)
{
    const auto text = [](unsigned threads) {
        std::ostringstream stream;
        for (const char* wrong : {"cab", "dcba", "xyz"}) {
            stream << explore({.runs = 300, .maximumDelays = 2, .threads = threads},
                [&](Phone& phone) { return failIf(race(phone, "abcda").find(wrong) != std::string::npos); });
        }
        return stream.str();
    };
    EXPECT_EQ(text(1), text(4));
}

TEST(Explore, LetsNoEventBeLaterThanPermitted)
{
    std::set<std::chrono::nanoseconds> latenesses;
    const auto result = explore({.runs = 400, .maximumDelays = 2, .lateBy = 60ms, .choicesUntil = 400ms},
        [&](Phone& phone) -> Problem {
            const auto queue = phone.makeQueue("queue");
            const auto other = phone.makeQueue("other");
            Problem problem;
            int waiting = 0;
            auto previous = 0ms;
            for (const auto time : {20ms, 50ms, 51ms, 600ms}) {
                phone.at(time, "post", [&, time] {
                    const auto posted = phone.now();
                    if (posted - time > (time < 400ms ? 60ms : 0ms))
                        problem = "a late action";
                    if (std::exchange(previous, time) > time)
                        problem = "actions in the wrong order";
                    for (int item = 0; item < 2; ++item) {
                        queue->async([&, posted] {
                            latenesses.insert(phone.now() - posted);
                            phone.spend(5ms);
                        });
                    }
                    ++waiting;
                    other->async([&] { --waiting; });
                });
            }
            phone.advance(51ms);
            if (waiting > 0)
                problem = "an item is left";
            phone.advance(2s);
            return problem;
        });
    EXPECT_FALSE(result.failure) << result;
    EXPECT_EQ(*latenesses.begin(), 0ms);
    EXPECT_GT(*latenesses.rbegin(), 60ms) << "it waits for its queue, too";
    EXPECT_LE(*latenesses.rbegin(), 60ms + 5 * 5ms + 60ms);
}

TEST(Explore, ReportsAScenarioThatNeverRests)
{
    const auto reason = [](const std::function<void(Phone&, platform::DispatchQueue&)>& step) {
        return explore({.restBy = 10s},
            [&](Phone& phone) -> Problem {
                const auto queue = phone.makeQueue("queue");
                for (;;)
                    step(phone, *queue);
            })
            .failure.value()
            .reason;
    };
    EXPECT_EQ(reason([](Phone& phone, auto&) {
        (void)phone.platform().runLoops.current().scheduleTimer(100ms, true, [](platform::Timer&) { });
        phone.advance(1h);
    }),
        "no rest until the end of the time, and \"main timer\" runs");
    EXPECT_EQ(reason([](Phone& phone, auto&) { phone.advance(100ms); }),
        "no rest until the end of the time, and nothing runs");
    EXPECT_EQ(reason([](Phone& phone, auto&) { phone.run(); }),
        "no rest: time does not pass any more, and nothing runs");
    EXPECT_EQ(reason([](Phone& phone, platform::DispatchQueue& queue) {
        const std::function<void()> again = [&] { queue.async([&] { again(); }); };
        again();
        phone.advance(1s);
    }),
        "no rest: time does not pass any more, and \"queue\" runs");
}

TEST(Explore, FindsFaultsByPrioritiesAsOftenAsGuaranteed)
{
    // Two constraints of two chains in 10 steps or less: at least one run of 20.
    int found = 0;
    for (std::uint64_t seed = 1; seed <= 400; ++seed) {
        Phone phone({.chooser = std::make_shared<simulated::PriorityChooser>(seed, 2, 10)});
        found += race(phone, "aaaabbbb") == "aaabbbba" ? 1 : 0;
    }
    EXPECT_GT(found, 10);
}

TEST(Phone, MakesACallbackTakeTimeAndRefusesToRunInOne)
{
    Phone phone;
    const auto slow = phone.makeQueue("slow");
    const auto other = phone.makeQueue("other");
    std::vector<std::string> history;
    const auto note = [&](const char* what) { history.push_back(what + std::to_string(phone.now() / 1ms)); };
    slow->async([&] {
        note("slow");
        phone.spend(30ms);
        note("slow");
        for (const auto& call :
            {std::function<void()>([&] { phone.advance(1ms); }), std::function<void()>([&] { phone.run(); }),
                std::function<void()>([&] { (void)phone.runUntil([] { return true; }); })})
            EXPECT_NE(errorOf(call).find("Phone::spend"), std::string::npos);
    });
    slow->async([&] { note("next"); });
    phone.at(10ms, "leave", [&] {
        note("leave");
        other->async([&] { note("other"); });
    });
    phone.at(10ms, "return", [&] { note("return"); });
    phone.advance(1s);
    std::erase(history, "other10"); // before or after the return
    EXPECT_EQ(history, (std::vector<std::string>{"slow0", "leave10", "return10", "slow30", "next30"}));
}

TEST(Phone, WritesTheClientsCallsIntoItsJournal)
{
    const auto journalOf = [](std::chrono::nanoseconds still) {
        Phone phone;
        phone.camera(platform::AVCaptureDevicePosition::back).script().frameInterval = 33ms;
        const auto screen = makeDelegate({});
        const auto told = phone.journaled(screen);
        const auto view = std::make_shared<platform::UIView>();
        const auto manager = OvriSourceManager::create({SourceType::stability(), SourceType::facingAngle()},
            CameraConfiguration::SessionPreset::photo, phone.makeQueue("com.example.screen"),
            phone.platform());
        manager->setMetadataDetection({MetadataObjectType::qr}, told);
        EXPECT_TRUE(manager->startSession(SourceType::cameraBack(false), told, {}, view));
        manager->startMotionDetection({SourceType::stability(), SourceType::facingAngle()}, told, {});
        phone.detector().show({simulated::code(MetadataObjectType::qr, "hello")});
        phone.motion().tilt(60);
        phone.motion().shake(1s);
        phone.motion().hold(2s);
        phone.at(still, "still",
            [&] { manager->captureStillImage(platform::OvriImageSource::photo, std::nullopt); });
        phone.advance(3s);
        return std::pair(phone.journal(), phone.journal().texts("client didDetectS"));
    };
    const auto [journal, verdicts] = journalOf(50ms);
    EXPECT_EQ(verdicts,
        (std::vector<std::string>{"client didDetectStability no", "client didDetectStability yes"}));
    EXPECT_EQ(
        journal.texts("client didDetectF"), std::vector<std::string>{"client didDetectFacingAngle yes"});
    EXPECT_EQ(journal.texts("client didDetectC").front(), "client didDetectCodes hello");
    std::ostringstream table;
    table << journal;
    for (const char* line : {"\n     0.000  sessionQueue    startRunning\n",
             "\n    33.000  screen          client didGetFrame 0\n"})
        EXPECT_NE(table.str().find(line), std::string::npos) << table.str();

    EXPECT_EQ(firstDifference(journal, journalOf(50ms).first), std::nullopt);
    const std::string difference = firstDifference(journal, journalOf(51ms).first).value_or("");
    EXPECT_EQ(difference.substr(difference.find('\n')),
        "\n    50.000  sessionQueue  setVideoOrientation portrait\n"
        "    51.000  sessionQueue  setVideoOrientation portrait\n");
}

} // namespace tamsel::tests
