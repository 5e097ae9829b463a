#include "host/web/ControllerFacts.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace Rvl;

namespace {

class ControllerFactsTest : public testing::Test
{
protected:
    std::string nameOf(const std::string& controller)
    {
        return facts_
            .of(controller,
                [&] {
                    ++reads_;
                    if (onRead_) {
                        onRead_();
                    }
                    return SControllerFacts{{{"name", controller}}, {}};
                })
            ->channel.at("name");
    }

    CControllerFacts facts_;
    int reads_ = 0;
    std::function<void()> onRead_;
};

} // namespace

TEST_F(ControllerFactsTest, AreReadOnceForEachController)
{
    EXPECT_EQ("A", nameOf("A"));
    EXPECT_EQ("B", nameOf("B"));
    EXPECT_EQ("A", nameOf("A"));
    EXPECT_EQ(2, reads_);
}

TEST_F(ControllerFactsTest, AreReadAgainAfterACommand)
{
    nameOf("A");
    nameOf("B");
    facts_.forget("A");
    nameOf("A");
    nameOf("B");
    EXPECT_EQ(3, reads_);
}

TEST_F(ControllerFactsTest, AreNotKeptIfACommandCameWhileTheyWereRead)
{
    onRead_ = [this] { facts_.forget("A"); };
    nameOf("A");
    onRead_ = nullptr;
    nameOf("A");
    EXPECT_EQ(2, reads_);
    nameOf("A");
    EXPECT_EQ(2, reads_);
}

TEST_F(ControllerFactsTest, AreNotKeptIfReadingFails)
{
    onRead_ = [] { throw std::runtime_error("hung"); };
    EXPECT_THROW(nameOf("A"), std::runtime_error);
    onRead_ = nullptr;
    EXPECT_EQ("A", nameOf("A"));
}
