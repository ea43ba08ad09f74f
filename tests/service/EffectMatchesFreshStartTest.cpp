/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "common/SystemPaths.h"
#include "context/KsContext.h"
#include "context/KsContextManager.h"
#include "effect/PexController.h"
#include "effect/PexEffect.h"
#include "model/AndroidDevice.h"
#include "model/Endpoint.h"
#include "model/Port.h"
#include "service/ParameterAdapter.h"
#include "testutil/TempRoot.h"

namespace velora {
namespace {

using Values = std::map<std::pair<int, int>, std::vector<int>>;

// The parameter store as the effect reads it: the last values of every (device, parameter).
class StoreModel : public PexEffect {
  public:
    StoreModel() : PexEffect(0, "KsService") {}
    int send(int /*command*/, std::vector<int>& data) override {
        for (size_t at = 2; at + 3 <= data.size(); at += 3 + static_cast<size_t>(data[at + 2])) {
            auto begin = data.begin() + static_cast<long>(at) + 3;
            values[{data[at], data[at + 1]}] = std::vector<int>(begin, begin + data[at + 2]);
        }
        return -EINVAL;
    }
    void setEnabled(bool /*on*/) override {}
    // Reading a stored list adds a trailing 0 that a value a client wrote lacks, anywhere a
    // record joins lists; so zeros are left out of the comparison (a value's other elements
    // still have to match), and a parameter given no values, or only zeros, counts as absent.
    Values held() const {
        Values out;
        for (const auto& [key, list] : values) {
            std::vector<int> kept;
            for (int value : list) {
                if (value != 0) kept.push_back(value);
            }
            if (!kept.empty()) out[key] = std::move(kept);
        }
        return out;
    }
    Values values;
};

// One running service: the state, the controller, and the start's single publication.
struct Running {
    explicit Running(StoreModel& effect)
        : manager(std::make_unique<KsContextManager>()),
          controller(std::make_unique<PexController>(2, effect)) {
        context = manager->getKsContext();
        if (context == nullptr) return;
        context->registerObserver(controller.get());
        controller->sendParameters(DEVICE_OUT_DEFAULT);
        adapter = std::make_unique<ParameterAdapter>(context);
    }
    ~Running() {
        if (context != nullptr) context->unregisterObserver(controller.get());
    }
    std::unique_ptr<KsContextManager> manager;
    std::unique_ptr<PexController> controller;
    std::unique_ptr<ParameterAdapter> adapter;
    KsContext* context = nullptr;
};

std::string describe(const Values& values) {
    std::string out;
    for (const auto& [key, list] : values) {
        out += "  device " + std::to_string(key.first) + " id " + std::to_string(key.second) + ":";
        for (int value : list) out += " " + std::to_string(value);
        out += "\n";
    }
    return out;
}

// Seeded sequences of every client operation; after each step the effect holds what a start
// on the saved state gives an empty store. VELORA_SEED and VELORA_STEPS run other sequences
// (docs/reliability.md).
TEST(EffectMatchesFreshStartTest, AfterEveryOperationTheEffectHoldsWhatAStartWouldGiveIt) {
    const char* seedText = std::getenv("VELORA_SEED");
    const char* stepsText = std::getenv("VELORA_STEPS");
    const unsigned firstSeed = seedText != nullptr ? std::strtoul(seedText, nullptr, 10) : 1;
    const int steps = stepsText != nullptr ? std::atoi(stepsText) : 60;
    for (unsigned seed = firstSeed; seed < firstSeed + 3; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::printf("seed %u, %d steps\n", seed, steps);
        testing::TempRoot root;
        root.install("examples/multimedia_velora_kiv_default.xml", SystemPaths::kDefaultTuningFile);
        root.install("examples/kiv-extra.xml", SystemPaths::kOemTuningFile);
        std::mt19937 random(seed);
        auto pick = [&random](int count) {
            return std::uniform_int_distribution<int>(0, count - 1)(random);
        };
        StoreModel live;
        auto running = std::make_unique<Running>(live);
        ASSERT_NE(running->context, nullptr);
        for (int step = 0; step < steps; ++step) {
            KsContext* context = running->context;
            const int profile = pick(context->getNumOfProfiles());
            std::string what;
            switch (pick(9)) {
                case 0:
                    what = "on/off";
                    context->setPexOn(pick(2) == 1);
                    break;
                case 1:
                    what = "profile select";
                    context->setSelectedProfile(profile);
                    break;
                case 2:
                    what = "profile reset";
                    context->resetProfile(profile);
                    break;
                case 3:
                case 4: {
                    const int id =
                        ParameterAdapter::kFirstId + 1 + pick(ParameterAdapter::kSlotCount - 1);
                    const ParameterAdapter::ParameterStrategy* strategy =
                        running->adapter->getStrategy(id);
                    if (strategy == nullptr) break;
                    std::vector<int> values(std::max(1, strategy->getParamLength()));
                    for (int& value : values) {
                        value = strategy->getMinimum() +
                                pick(strategy->getMaximum() - strategy->getMinimum() + 1);
                    }
                    what = "external id " + std::to_string(id);
                    if (pick(2) == 0) {
                        running->adapter->setParameter(profile, id, values);
                    } else {
                        running->adapter->setProfileEndpointParameter(
                            profile, static_cast<Endpoint>(pick(3)), id, values);
                    }
                    break;
                }
                case 5:
                case 6: {
                    const Port port = static_cast<Port>(pick(kPortCount));
                    std::vector<std::string> devices = context->getAvailableTuningDevice(port);
                    if (devices.empty()) break;
                    what = std::string("tuning device on ") + kPortNames[port];
                    context->setSelectedTuning(port, devices[pick(devices.size())], false);
                    break;
                }
                case 7:
                    what = "tuning reload";
                    running->manager->loadOemTuning();
                    break;
                case 8:
                    what = "restart";
                    ASSERT_EQ(context->save(), 0);
                    running.reset();
                    running = std::make_unique<Running>(live);
                    ASSERT_NE(running->context, nullptr);
                    break;
            }
            SCOPED_TRACE("step " + std::to_string(step) + ": " + what);
            ASSERT_EQ(running->context->save(), 0);
            StoreModel fresh;
            { Running start(fresh); }
            Values expected = fresh.held();
            Values got = live.held();
            ASSERT_EQ(got, expected) << "live:\n"
                                     << describe(got) << "fresh:\n"
                                     << describe(expected);
        }
    }
}

}  // namespace
}  // namespace velora
