#include "driver/local/controller/common/ControlLoopElement.h"

#include "tests/support/LockProbe.h"
#include "tests/support/VirtualSlot.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <stdexcept>
#include <type_traits>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

class Element : public IControlLoopElement
{
public:
    void init() override {}
};

/// Another thread that takes the element's lock and releases it at once.
std::future<void> lockElsewhere(const IControlLoopElement& element)
{
    return std::async(std::launch::async, [&element] { CControlLoopElementGuard guard(&element); });
}

bool stillWaiting(const std::future<void>& other)
{
    return other.wait_for(std::chrono::milliseconds(40)) == std::future_status::timeout;
}

} // namespace

TEST(ControlLoopElement, IsCreatedUnlocked)
{
    Element element;
    EXPECT_TRUE(isUnlocked(element));
}

TEST(ControlLoopElement, LockedElementBlocksAnotherThread)
{
    Element element;
    EXPECT_TRUE(waitsForLock(element, [&] {
        element.lockAccess();
        element.unlockAccess();
    }));
}

TEST(ControlLoopElement, EachElementHasItsOwnLock)
{
    Element one;
    Element other;
    EXPECT_TRUE(ignoresLock(one, [&] { CControlLoopElementGuard guard(&other); }));
}

TEST(ControlLoopElement, IsNotCopyable)
{
    EXPECT_FALSE(std::is_copy_constructible_v<Element>);
    EXPECT_FALSE(std::is_copy_assignable_v<Element>);
}

TEST(ControlLoopElement, InitFollowsTheDestructorInTheTable)
{
    // a virtual destructor takes two slots
    EXPECT_EQ(virtualSlot(&IControlLoopElement::init), 2u);
}

TEST(ControlLoopElementGuard, HoldsTheLockForItsScope)
{
    Element element;
    std::future<void> other;
    {
        CControlLoopElementGuard guard(&element);
        other = lockElsewhere(element);
        EXPECT_TRUE(stillWaiting(other));
    }
    other.get();
    EXPECT_TRUE(isUnlocked(element));
}

TEST(ControlLoopElementGuard, NestedGuardsDoNotDeadlock)
{
    Element element;
    std::future<void> other;
    {
        CControlLoopElementGuard outer(&element);
        {
            CControlLoopElementGuard inner(&element);
            other = lockElsewhere(element);
        }
        EXPECT_TRUE(stillWaiting(other)) << "the inner guard must not give up the outer one's lock";
    }
    other.get();
    EXPECT_TRUE(isUnlocked(element));
}

TEST(ControlLoopElementGuard, ReleasesWhenAnExceptionLeaves)
{
    Element element;
    EXPECT_THROW(
        {
            CControlLoopElementGuard guard(&element);
            throw std::runtime_error("out");
        },
        std::runtime_error);
    EXPECT_TRUE(isUnlocked(element));
}

TEST(ControlLoopElementGuard, AssignmentTakesNoFurtherLock)
{
    Element first;
    Element second;
    {
        CControlLoopElementGuard guard(&first);
        CControlLoopElementGuard other(&second);
        guard = other;
        // both guards now unlock the second element, which was locked once: give the balance by hand
        first.unlockAccess();
        second.lockAccess();
    }
    EXPECT_TRUE(isUnlocked(first));
    EXPECT_TRUE(isUnlocked(second));
}
