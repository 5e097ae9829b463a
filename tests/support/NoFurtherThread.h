#pragma once

#if !defined(_WIN32)
#include <gtest/gtest.h>

#include <cstddef>

#include <pthread.h>

namespace Rvl::Test {

/// While it lives, no further thread can be started.
class CNoFurtherThread
{
public:
    CNoFurtherThread()
    {
        EXPECT_EQ(pthread_getattr_default_np(&usual_), 0);
        pthread_attr_t unaffordable;
        EXPECT_EQ(pthread_attr_init(&unaffordable), 0);
        EXPECT_EQ(pthread_attr_setstacksize(&unaffordable, std::size_t{1} << 50), 0);
        EXPECT_EQ(pthread_setattr_default_np(&unaffordable), 0);
        pthread_attr_destroy(&unaffordable);
    }
    ~CNoFurtherThread()
    {
        EXPECT_EQ(pthread_setattr_default_np(&usual_), 0);
        pthread_attr_destroy(&usual_);
    }
    CNoFurtherThread(const CNoFurtherThread&) = delete;
    CNoFurtherThread& operator=(const CNoFurtherThread&) = delete;

private:
    pthread_attr_t usual_;
};

} // namespace Rvl::Test
#endif
