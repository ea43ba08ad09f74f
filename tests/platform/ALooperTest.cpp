/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <errno.h>
#include <gtest/gtest.h>
#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace android {
namespace {

constexpr uint32_t kWhatTest = 0x74657374;  // "test"

pid_t current_tid() { return static_cast<pid_t>(syscall(SYS_gettid)); }

bool thread_exists(pid_t tid) {
    struct stat st;
    return stat(("/proc/self/task/" + std::to_string(tid)).c_str(), &st) == 0;
}

// Records every message it gets (its "value" item and the receiving thread) and lets the test
// wait until a number of messages has arrived. An optional hook runs first, on the looper.
class RecordingHandler : public AHandler {
  public:
    struct Received {
        int32_t value;
        pid_t tid;
        std::string threadName;
    };
    std::function<void(int32_t value)> hook;

    bool waitFor(size_t count) {
        std::unique_lock<std::mutex> lock(mLock);
        return mChanged.wait_for(lock, std::chrono::seconds(20),
                                 [&] { return mReceived.size() >= count; });
    }
    std::vector<Received> received() {
        std::lock_guard<std::mutex> lock(mLock);
        return mReceived;
    }
    std::vector<int32_t> values() {
        std::vector<int32_t> values;
        for (const Received& r : received()) values.push_back(r.value);
        return values;
    }

  protected:
    void onMessageReceived(const sp<AMessage>& msg) override {
        int32_t value = -1;
        msg->findInt32("value", &value);
        if (hook) hook(value);
        char name[16] = {};
        pthread_getname_np(pthread_self(), name, sizeof(name));
        {
            std::lock_guard<std::mutex> lock(mLock);
            mReceived.push_back(Received{value, current_tid(), name});
        }
        mChanged.notify_all();
    }

  private:
    std::mutex mLock;
    std::condition_variable mChanged;
    std::vector<Received> mReceived;
};

status_t post_value(const sp<AHandler>& handler, int32_t value, int64_t delayUs = 0) {
    sp<AMessage> msg = new AMessage(kWhatTest, handler);
    msg->setInt32("value", value);
    return msg->post(delayUs);
}

// Posters on several threads: each poster's messages arrive in its order, all on the looper's
// one named thread; a delayed message waits for its time while later ones pass it.
TEST(ALooperTest, DeliversEachPostersMessagesInOrderOnOneThreadOfItsOwn) {
    sp<ALooper> looper = new ALooper();
    looper->setName("VeloraManagerService EventHandler");
    sp<RecordingHandler> handler = new RecordingHandler();
    ASSERT_GT(looper->registerHandler(handler), 0);
    ASSERT_EQ(OK, looper->start());
    EXPECT_EQ(INVALID_OPERATION, looper->start());

    int64_t delayedUs = 0;
    handler->hook = [&](int32_t value) {
        if (value == -1000) delayedUs = ALooper::GetNowUs();
    };
    const int64_t postedUs = ALooper::GetNowUs();
    ASSERT_EQ(OK, post_value(handler, -1000, 200000));

    constexpr int kPosters = 4;
    constexpr int kEach = 300;
    std::vector<std::thread> posters;
    for (int p = 0; p < kPosters; ++p) {
        posters.emplace_back([&, p] {
            for (int i = 0; i < kEach; ++i) post_value(handler, p * 10000 + i);
        });
    }
    for (auto& t : posters) t.join();
    ASSERT_TRUE(handler->waitFor(kPosters * kEach + 1));

    const auto received = handler->received();
    std::vector<int32_t> next(kPosters, 0);
    for (const auto& r : received) {
        EXPECT_EQ(received[0].tid, r.tid);
        if (r.value < 0) continue;  // the delayed one
        const int poster = r.value / 10000;
        EXPECT_EQ(next[poster], r.value % 10000) << "poster " << poster;
        next[poster] = r.value % 10000 + 1;
    }
    EXPECT_EQ(std::vector<int32_t>(kPosters, kEach), next);
    EXPECT_GE(delayedUs - postedUs, 200000);
    EXPECT_NE(current_tid(), received[0].tid);
    EXPECT_EQ("VeloraManagerSe", received[0].threadName);  // the kernel keeps 15 characters
    EXPECT_EQ(OK, looper->stop());
}

TEST(ALooperTest, UnregisteredHandlerGetsNothing) {
    sp<ALooper> looper = new ALooper();
    sp<ALooper> other = new ALooper();
    sp<RecordingHandler> gone = new RecordingHandler();
    sp<RecordingHandler> kept = new RecordingHandler();
    const ALooper::handler_id goneId = looper->registerHandler(gone);
    ASSERT_GT(goneId, 0);
    ASSERT_GT(looper->registerHandler(kept), 0);
    EXPECT_EQ(INVALID_OPERATION, other->registerHandler(gone));  // one looper at a time
    EXPECT_EQ(INVALID_OPERATION, other->registerHandler(nullptr));

    // Queued before the looper runs, then the handler goes away: its messages are dropped.
    ASSERT_EQ(OK, post_value(gone, 1));
    ASSERT_EQ(OK, post_value(kept, 2));
    ASSERT_EQ(OK, post_value(gone, 3));
    looper->unregisterHandler(goneId);
    EXPECT_EQ(0, gone->id());
    EXPECT_EQ(nullptr, gone->getLooper());
    EXPECT_EQ(-ENOENT, sp<AMessage>(new AMessage(kWhatTest, goneId))->post());
    EXPECT_EQ(-ENOENT, post_value(gone, 4));

    ASSERT_EQ(OK, looper->start());
    ASSERT_EQ(OK, post_value(kept, 5));
    ASSERT_TRUE(kept->waitFor(2));
    EXPECT_EQ((std::vector<int32_t>{2, 5}), kept->values());
    EXPECT_TRUE(gone->received().empty());
    EXPECT_GT(other->registerHandler(gone), goneId);  // free to move to another looper
}

// stop() joins the looper thread: it waits for the message being delivered, and one asked
// from the looper's own thread is finished by the next stop() (or the destructor). Either way
// what was queued behind is dropped.
TEST(ALooperTest, StopWaitsForTheDeliveryJoinsTheThreadAndDropsWhatIsQueued) {
    sp<ALooper> looper = new ALooper();
    sp<RecordingHandler> handler = new RecordingHandler();
    looper->registerHandler(handler);
    std::promise<void> entered;
    std::atomic<bool> finished{false};
    status_t stopFromLooper = UNKNOWN_ERROR;
    handler->hook = [&](int32_t value) {
        if (value == 1) {
            entered.set_value();
            // Long enough work that a stop() which did not join would return first.
            volatile uint64_t sink = 0;
            for (uint64_t i = 0; i < 20000000; ++i) sink = sink + i;
            finished = true;
        }
        if (value == 4) stopFromLooper = looper->stop();
    };
    for (int32_t value : {1, 2, 3}) ASSERT_EQ(OK, post_value(handler, value));
    ASSERT_EQ(OK, looper->start());
    ASSERT_EQ(std::future_status::ready, entered.get_future().wait_for(std::chrono::seconds(20)));
    EXPECT_EQ(OK, looper->stop());
    EXPECT_TRUE(finished);
    EXPECT_FALSE(thread_exists(handler->received()[0].tid));
    EXPECT_EQ((std::vector<int32_t>{1}), handler->values());

    // Started again, it delivers new messages only; this time the handler stops it.
    for (int32_t value : {4, 5}) ASSERT_EQ(OK, post_value(handler, value));
    ASSERT_EQ(OK, looper->start());
    ASSERT_TRUE(handler->waitFor(2));
    looper->stop();  // the looper thread could not join itself; this one does
    EXPECT_EQ(OK, stopFromLooper);
    EXPECT_FALSE(thread_exists(handler->received()[1].tid));
    EXPECT_EQ(INVALID_OPERATION, looper->stop());
    ASSERT_EQ(OK, looper->start());
    ASSERT_EQ(OK, post_value(handler, 6));
    ASSERT_TRUE(handler->waitFor(3));
    EXPECT_EQ((std::vector<int32_t>{1, 4, 6}), handler->values());

    // Destroying it stops it and forgets its handlers.
    const pid_t loopTid = handler->received()[2].tid;
    looper.clear();
    EXPECT_FALSE(thread_exists(loopTid));
    EXPECT_EQ(0, handler->id());
    EXPECT_EQ(-ENOENT, post_value(handler, 7));
}

TEST(ALooperTest, LastReferenceDroppedOnTheLooperThread) {
    sp<ALooper> looper = new ALooper();
    sp<RecordingHandler> handler = new RecordingHandler();
    looper->registerHandler(handler);
    ASSERT_EQ(OK, looper->start());
    // The handler releases the only reference from inside a delivery: the looper is
    // destroyed on its own thread, which must finish without touching freed memory.
    handler->hook = [&](int32_t) { looper.clear(); };
    ASSERT_EQ(OK, post_value(handler, 1));
    ASSERT_TRUE(handler->waitFor(1));
    EXPECT_EQ(0, handler->id());
}

}  // namespace
}  // namespace android
