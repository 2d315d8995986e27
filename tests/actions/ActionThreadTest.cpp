#include <atomic>
#include <gtest/gtest.h>

#include "actions/Action.h"
#include "actions/ActionThread.h"
#include "support/LogCapture.h"

namespace lathwind {
namespace {

using testing::LogCapture;

class CountingAction : public Action {
public:
    explicit CountingAction(const ActionPolicy* policy = nullptr) : Action(policy) {}
    void perform(const IDSEvent&, const FlagContexts*) override {}
    void process() override { ++processed; }

    std::atomic<int> processed{0};
};

struct NamedPolicy : ActionPolicy {
    std::wstring name() const override { return L"Web"; }
};

TEST(ActionThreadTest, DoesTenPiecesATurn) {
    ActionThread thread;
    CountingAction action;
    for (int i = 0; i < 25; ++i) {
        EXPECT_EQ(thread.enqueue(action), PushResult::Stored);
    }
    for (const int done : {10, 20, 25}) {
        EXPECT_TRUE(thread.step(0));
        EXPECT_EQ(action.processed, done);
    }
    EXPECT_TRUE(thread.step(0));  // a time-out
    EXPECT_EQ(action.processed, 25);
}

TEST(ActionThreadTest, ForgetsARemovedAction) {
    ActionThread thread;
    CountingAction kept;
    CountingAction gone;
    for (int i = 0; i < 3; ++i) {
        thread.enqueue(gone);
        thread.enqueue(kept);
    }
    thread.remove(gone);
    thread.step(0);
    EXPECT_EQ(gone.processed, 0);
    EXPECT_EQ(kept.processed, 3);
    thread.enqueue(gone);
    thread.remove(gone);
    EXPECT_TRUE(thread.step(0));  // nothing is left that would end the wait early
}

TEST(ActionThreadTest, StoppingFinishesWhatWasTaken) {
    ActionThread thread;
    CountingAction action;
    for (int i = 0; i < 12; ++i) {
        thread.enqueue(action);
    }
    thread.stop();
    EXPECT_EQ(action.processed, 12);
    EXPECT_EQ(thread.enqueue(action), PushResult::Stopped);
    EXPECT_FALSE(thread.step(0));
}

TEST(ActionTest, DotCodes) {
    LogCapture log;
    const NamedPolicy policy;
    CountingAction action(&policy);
    EXPECT_EQ(action.id(), -1);
    action.handleDotCode(L'Z', L"17");
    EXPECT_EQ(action.id(), 17);
    action.handleDotCode(L'Q', L"x");
    EXPECT_TRUE(log.hasDebug(L"Unknown dot code Q found at action level in Policy: Web"));
    EXPECT_EQ(CountingAction().policyName(), L"unknown");
}

TEST(ActionThreadThreads, WorksWhileOthersAddAndLeave) {
    ActionThread thread;
    CountingAction kept;
    thread.start();
    for (int i = 0; i < 200; ++i) {
        CountingAction passing;
        thread.enqueue(passing);
        thread.enqueue(kept);
        thread.remove(passing);
    }
    thread.stop();
    EXPECT_EQ(kept.processed, 200);
}

}  // namespace
}  // namespace lathwind
