#include "runtime/AlternateStack.h"

#include <gtest/gtest.h>

#if !defined(_WIN32)

#include <csignal>
#include <thread>

using namespace Rvl;

namespace {

stack_t present()
{
    stack_t stack = {};
    sigaltstack(nullptr, &stack);
    return stack;
}

} // namespace

TEST(AlternateStackTest, ThreadHasOneForAsLongAsTheObjectLives)
{
    std::thread([] {
        stack_t none = {};
        none.ss_flags = SS_DISABLE;
        const stack_t before = present(); // a sanitizer gives every thread one
        sigaltstack(&none, nullptr);
        {
            const CAlternateStack stack;
            EXPECT_FALSE(present().ss_flags & SS_DISABLE);
            EXPECT_GE(present().ss_size, 32768U);
        }
        EXPECT_TRUE(present().ss_flags & SS_DISABLE);
        sigaltstack(&before, nullptr);
    }).join();
}

TEST(AlternateStackTest, OneThatIsThereIsKept)
{
    std::thread([] {
        const CAlternateStack outer;
        void* const memory = present().ss_sp;
        {
            const CAlternateStack inner;
            EXPECT_EQ(memory, present().ss_sp);
        }
        EXPECT_EQ(memory, present().ss_sp);
    }).join();
}

#endif
