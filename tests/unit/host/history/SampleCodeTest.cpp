#include "host/history/SampleCode.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>

namespace Rvl::Test {

namespace {

std::vector<SCodedSample> steady(std::size_t count)
{
    std::vector<SCodedSample> samples;
    for (std::size_t i = 0; i < count; ++i) {
        samples.push_back({1'700'000'000'000 + static_cast<std::int64_t>(i) * 100, 45.0, 44.9, 50.0, 6});
    }
    return samples;
}

} // namespace

TEST(SampleCodeTest, EverySampleIsReadBackBitByBit)
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const std::vector<std::vector<SCodedSample>> cases{
        {},
        {{0, 0.0, 0.0, 0.0, 0}},
        {{-5, -0.0, nan, infinity, 4'000'000'000U}},
        {{100, 1.0, 0.1, 1e-308, 2}, {100, 1.0, 0.1, 1e-308, 2}, {90, -1.0, nan, -infinity, 3}},
        {{std::numeric_limits<std::int64_t>::max(), 1.0, 2.0, 3.0, 1},
         {std::numeric_limits<std::int64_t>::min(), 1.0, 2.0, 3.0, 1}},
        steady(1000),
    };
    for (const auto& samples : cases) {
        EXPECT_EQ(samples, decodeSamples(encodeSamples(samples)));
    }
    std::mt19937_64 random(7);
    std::uniform_int_distribution<int> pick(0, 3);
    std::vector<SCodedSample> noisy;
    for (int i = 0; i < 5000; ++i) {
        SCodedSample sample = noisy.empty() ? SCodedSample{} : noisy.back();
        sample.time_ms += pick(random) == 0 ? static_cast<std::int64_t>(random() % 100'000) - 50'000 : 100;
        sample.setPoint = pick(random) == 0 ? static_cast<double>(random() % 50) : sample.setPoint;
        sample.actualValue = static_cast<double>(random()) / 1e17;
        sample.controlValue += pick(random) * 0.125;
        sample.state = pick(random) == 0 ? static_cast<std::uint32_t>(random()) : sample.state;
        noisy.push_back(sample);
    }
    EXPECT_EQ(noisy, decodeSamples(encodeSamples(noisy)));
}

TEST(SampleCodeTest, WhatStaysTheSameCostsNothing)
{
    EXPECT_LT(encodeSamples(steady(1000)).size(), 60U);
}

TEST(SampleCodeTest, DamagedCodeIsRefused)
{
    const std::string code = encodeSamples(steady(20));
    for (std::size_t length = 0; length < code.size(); ++length) {
        EXPECT_THROW(decodeSamples(code.substr(0, length)), std::runtime_error) << length;
    }
    EXPECT_THROW(decodeSamples(code + '\0'), std::runtime_error);
    // a count of samples that would take all memory
    EXPECT_THROW(decodeSamples("\xff\xff\xff\xff\xff\xff\xff\xff\x7f"), std::runtime_error);
    // nothing but a clean error for any other damage
    std::mt19937_64 random(3);
    int refused = 0;
    for (int i = 0; i < 20'000; ++i) {
        std::string damaged = code;
        damaged[random() % damaged.size()] = static_cast<char>(random());
        try {
            decodeSamples(damaged);
        } catch (const std::runtime_error&) {
            ++refused;
        }
    }
    EXPECT_GT(refused, 1000);
}

TEST(SampleCodeTest, MomentsAreReadBack)
{
    std::string code;
    const SCodedSample first{7, 1.5, -2.5, 0.1, 6};
    const SCodedSample second{7, -0.0, 1e300, 3.0, 4'000'000'001U};
    CMomentCode::append(code, 3, first);
    CMomentCode::append(code, 70'000, second);
    ASSERT_EQ(2U, CMomentCode::count(code));
    EXPECT_EQ(3U, CMomentCode::controllerAt(code, 0));
    EXPECT_EQ(70'000U, CMomentCode::controllerAt(code, 1));
    EXPECT_EQ(first, CMomentCode::sampleAt(code, 0, 7));
    EXPECT_EQ(second, CMomentCode::sampleAt(code, 1, 7));
}

} // namespace Rvl::Test
