#include "common/ObjectRegistryBase.h"

#include "tests/support/LogCapture.h"
#include "tests/support/Messages.h"
#include "tests/support/VirtualSlot.h"

#include <gmock/gmock.h>

#include <functional>
#include <future>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

using Rvl::CObjectRegistryBase;
using Rvl::Test::hexAddress;
using Rvl::Test::LogCapture;

namespace {

struct TestRegistry : CObjectRegistryBase<int>
{
    using CObjectRegistryBase<int>::insert;
    using CObjectRegistryBase<int>::find;
};

/// Asks the registry for its size while it is destroyed under the registry's mutex.
struct Inquisitive
{
    explicit Inquisitive(const CObjectRegistryBase<Inquisitive>*& owner) : registry(owner) {}
    ~Inquisitive()
    {
        if (registry) {
            registry->size();
        }
    }
    const CObjectRegistryBase<Inquisitive>*& registry;
};

struct InquisitiveRegistry : CObjectRegistryBase<Inquisitive>
{
    using CObjectRegistryBase<Inquisitive>::insert;
};

/// Does what the test says when it is destroyed.
struct Departing
{
    explicit Departing(std::function<void()> action) : onDestruction(std::move(action)) {}
    ~Departing() { onDestruction(); }
    std::function<void()> onDestruction;
};

struct DepartingRegistry : CObjectRegistryBase<Departing>
{
    using CObjectRegistryBase<Departing>::insert;
    using CObjectRegistryBase<Departing>::find;
};

} // namespace

TEST(ObjectRegistryBase, LogsItsConstructionAndDestructionWithItsAddress)
{
    LogCapture log("CtorDtorLogger");
    auto registry = std::make_unique<CObjectRegistryBase<int>>();
    const std::string address = hexAddress(registry.get());
    EXPECT_THAT(log.lines(), testing::ElementsAre("TRACE CTOR CObjectRegistryBase " + address));
    registry.reset();
    EXPECT_THAT(log.lines(), testing::ElementsAre("TRACE CTOR CObjectRegistryBase " + address,
                                                  "TRACE DTOR CObjectRegistryBase " + address));
}

TEST(ObjectRegistryBase, ReleasesItsObjectsWhenDestroyed)
{
    std::weak_ptr<int> watched;
    {
        TestRegistry registry;
        auto object = std::make_shared<int>(1);
        watched = object;
        registry.insert("one", object);
        object.reset();
        EXPECT_FALSE(watched.expired());
    }
    EXPECT_TRUE(watched.expired());
}

TEST(ObjectRegistryBase, LogsItsDestructionBeforeItReleasesItsObjects)
{
    LogCapture log("CtorDtorLogger");
    std::string address;
    std::vector<std::string> linesAtRelease;
    {
        DepartingRegistry registry;
        address = hexAddress(&registry);
        registry.insert("one", std::make_shared<Departing>([&] { linesAtRelease = log.lines(); }));
    }
    EXPECT_THAT(linesAtRelease, testing::ElementsAre("TRACE CTOR CObjectRegistryBase " + address,
                                                     "TRACE DTOR CObjectRegistryBase " + address));
}

TEST(ObjectRegistryBase, ClearReleasesAndEmpties)
{
    TestRegistry registry;
    auto object = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = object;
    registry.insert("one", std::move(object));
    EXPECT_EQ(1u, registry.size());
    registry.clear();
    EXPECT_EQ(0u, registry.size());
    EXPECT_TRUE(watched.expired());
    EXPECT_TRUE(registry.insert("one", std::make_shared<int>(2))) << "the name is free again";
}

TEST(ObjectRegistryBase, ObjectMayUseTheRegistryWhileClearReleasesIt)
{
    const CObjectRegistryBase<Inquisitive>* pointer = nullptr;
    InquisitiveRegistry registry;
    registry.insert("curious", std::make_shared<Inquisitive>(pointer));
    pointer = &registry;
    registry.clear();
    EXPECT_EQ(0u, registry.size());
}

TEST(ObjectRegistryBase, ClearBlocksOtherThreadsUntilTheObjectsAreReleased)
{
    DepartingRegistry registry;
    const auto another = std::make_shared<Departing>([] {});
    const std::vector<std::pair<const char*, std::function<void()>>> operations = {
        {"size", [&] { registry.size(); }},
        {"contains", [&] { registry.contains("one"); }},
        {"names", [&] { registry.names(); }},
        {"find", [&] { registry.find("one"); }},
        {"insert", [&] { registry.insert("two", another); }},
        {"clear", [&] { registry.clear(); }},
    };
    for (const auto& [name, operation] : operations) {
        std::future<void> other;
        bool otherWaited = false;
        registry.insert("one", std::make_shared<Departing>([&, &concurrent = operation] {
                            other = std::async(std::launch::async, concurrent);
                            otherWaited =
                                other.wait_for(std::chrono::milliseconds(40)) == std::future_status::timeout;
                        }));
        registry.clear();
        other.get();
        EXPECT_TRUE(otherWaited) << name;
    }
    EXPECT_EQ(0u, registry.size());
}

TEST(ObjectRegistryBase, ClearStandsBehindTheDestructor)
{
    EXPECT_EQ(2u, Rvl::Test::virtualSlot(&CObjectRegistryBase<int>::clear)); // after the destructor's two
}

TEST(ObjectRegistryBase, NamesAreOrderedByByteAndCaseSensitive)
{
    TestRegistry registry;
    registry.insert("b", std::make_shared<int>(1));
    registry.insert("B", std::make_shared<int>(2));
    registry.insert("a", std::make_shared<int>(3));
    EXPECT_THAT(registry.names(), testing::ElementsAre("B", "a", "b"));
    EXPECT_TRUE(registry.contains("B"));
    EXPECT_FALSE(registry.contains("A"));
    EXPECT_EQ(2, *registry.find("B"));
    EXPECT_FALSE(registry.find("A"));
}

TEST(ObjectRegistryBase, ManyThreadsMayFillAndClear)
{
    TestRegistry registry;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&registry, t] {
            for (int i = 0; i < 500; ++i) {
                registry.insert(std::to_string(t) + "/" + std::to_string(i), std::make_shared<int>(i));
                registry.contains("0/0");
                if (i % 100 == 99) {
                    registry.clear();
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    registry.clear();
    EXPECT_EQ(0u, registry.size());
}
