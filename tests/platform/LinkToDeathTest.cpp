/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/hidl/base/1.0/IBase.h>
#include <gtest/gtest.h>
#include <vendor/velora/hardware/kpt/2.0/IKptCallbacks.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

namespace android {
namespace {

using ::android::hardware::hidl_death_recipient;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::android::hidl::base::V1_0::IBase;
using ::vendor::velora::hardware::kpt::V2_0::IKptCallbacks;

// A client callback as a client process would implement it.
class Callbacks : public IKptCallbacks {
  public:
    Return<void> onPexParamUpdate(const hidl_vec<uint8_t>&) override { return Void(); }
};

class Recipient : public hidl_death_recipient {
  public:
    struct Call {
        uint64_t cookie;
        sp<IBase> who;
        std::thread::id thread;
    };

    std::function<void()> hook;
    void serviceDied(uint64_t cookie, const wp<IBase>& who) override {
        if (hook) hook();
        std::lock_guard<std::mutex> lock(mLock);
        mCalls.push_back(Call{cookie, who.promote(), std::this_thread::get_id()});
    }
    std::vector<Call> calls() {
        std::lock_guard<std::mutex> lock(mLock);
        return mCalls;
    }

  private:
    std::mutex mLock;
    std::vector<Call> mCalls;
};

TEST(LinkToDeathTest, DeathReachesEachLinkOnceAndNeverAnUnlinkedRecipient) {
    sp<Callbacks> client = new Callbacks();
    sp<Recipient> first = new Recipient();
    sp<Recipient> second = new Recipient();
    sp<Recipient> unlinked = new Recipient();
    sp<Recipient> later = new Recipient();
    ASSERT_TRUE(client->linkToDeath(first, 12).withDefault(false));
    ASSERT_TRUE(client->linkToDeath(second, 0x100000000ULL).withDefault(false));
    ASSERT_TRUE(client->linkToDeath(unlinked, 1).withDefault(false));
    ASSERT_TRUE(client->linkToDeath(unlinked, 2).withDefault(false));
    ASSERT_TRUE(client->linkToDeath(later, 4).withDefault(false));
    EXPECT_TRUE(client->unlinkToDeath(unlinked).withDefault(false));  // both of its links
    EXPECT_FALSE(client->unlinkToDeath(unlinked).withDefault(true));
    EXPECT_FALSE(client->linkToDeath(nullptr, 5).withDefault(true));
    wp<Recipient> weak;
    {
        sp<Recipient> shortLived = new Recipient();
        weak = shortLived;
        ASSERT_TRUE(client->linkToDeath(shortLived, 6).withDefault(false));
    }
    EXPECT_EQ(nullptr, weak.promote());  // the link kept no strong reference
    EXPECT_FALSE(client->isDead());

    // The first recipient unlinks a later one, and itself from inside its own call (no wait).
    Return<bool> unlinkedLater = false;
    Return<bool> unlinkedSelf = false;
    first->hook = [&] {
        unlinkedLater = client->unlinkToDeath(later);
        unlinkedSelf = client->unlinkToDeath(first);
    };
    // Declared dead by the transport on a thread of its own, twice; the recipient that is
    // gone is skipped.
    std::thread::id transportThread;
    std::thread transport([&] {
        transportThread = std::this_thread::get_id();
        client->notifyDied();
        client->notifyDied();
    });
    transport.join();

    ASSERT_EQ(1u, first->calls().size());
    ASSERT_EQ(1u, second->calls().size());
    EXPECT_EQ(12u, first->calls()[0].cookie);
    EXPECT_EQ(0x100000000ULL, second->calls()[0].cookie);
    EXPECT_EQ(sp<IBase>(client), first->calls()[0].who);
    EXPECT_EQ(transportThread, first->calls()[0].thread);
    EXPECT_TRUE(unlinked->calls().empty());
    EXPECT_TRUE(later->calls().empty());
    EXPECT_TRUE(unlinkedLater.withDefault(false));
    EXPECT_FALSE(unlinkedSelf.withDefault(true));
    EXPECT_TRUE(client->isDead());

    // A dead object links nothing, and a told recipient has nothing left to unlink.
    EXPECT_FALSE(client->linkToDeath(first, 13).withDefault(true));
    EXPECT_FALSE(client->unlinkToDeath(second).withDefault(true));
    EXPECT_EQ(1u, second->calls().size());
}

TEST(LinkToDeathTest, UnlinkWaitsForARunningNotification) {
    sp<Callbacks> client = new Callbacks();
    sp<Recipient> recipient = new Recipient();
    std::promise<void> entered;
    std::atomic<bool> finished{false};
    recipient->hook = [&] {
        entered.set_value();
        volatile uint64_t sink = 0;  // work that outlasts an unlink that would not wait
        for (uint64_t i = 0; i < 20000000; ++i) sink = sink + i;
        finished = true;
    };
    client->linkToDeath(recipient, 5).isOk();
    std::thread transport([&] { client->notifyDied(); });
    ASSERT_EQ(std::future_status::ready, entered.get_future().wait_for(std::chrono::seconds(20)));
    // After unlink returns the owner may tear the recipient down: the call must be over.
    const bool wasLinked = client->unlinkToDeath(recipient).withDefault(true);
    const bool finishedAtUnlink = finished;
    transport.join();
    EXPECT_TRUE(finishedAtUnlink);
    EXPECT_FALSE(wasLinked);
}

}  // namespace
}  // namespace android
