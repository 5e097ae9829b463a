#include "host/web/StateTexts.h"

#include "host/web/StateJson.h"

#include <gtest/gtest.h>

#include <memory>

namespace Rvl::Test {

namespace {

CLiveState::Snapshot snapshotWith(double setPoint)
{
    SSnapshot snapshot;
    for (const char* const name : {"A", "B"}) {
        SControllerState state;
        state.name = name;
        state.setPoint = setPoint;
        snapshot.controllers.push_back(state);
    }
    return std::make_shared<const SSnapshot>(std::move(snapshot));
}

} // namespace

TEST(StateTextsTest, AreThoseOfTheSnapshot)
{
    CStateTexts texts;
    for (const double setPoint : {1.0, 2.0}) {
        const auto snapshot = snapshotWith(setPoint);
        for (const std::size_t place : {0u, 1u}) {
            EXPECT_EQ(textOf(stateJson(snapshot->controllers[place])), texts.of(snapshot, place));
        }
    }
}

TEST(StateTextsTest, AreMadeOncePerSnapshot)
{
    CStateTexts texts;
    const auto snapshot = snapshotWith(1.0);
    const std::string* const made = &texts.of(snapshot, 0);
    const char* const letters = made->data();
    EXPECT_EQ(letters, texts.of(snapshot, 0).data());
}

} // namespace Rvl::Test
