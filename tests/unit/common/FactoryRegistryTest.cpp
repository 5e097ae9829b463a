#include "common/FactoryRegistry.h"

#include "tests/support/LogCapture.h"
#include "tests/support/Messages.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <thread>

using Rvl::CConfigurationException;
using Rvl::CFactoryRegistry;
using Rvl::Test::LogCapture;
using Rvl::Test::messageOf;

namespace {

class Factory
{
public:
    explicit Factory(std::string typeName) : typeName_(std::move(typeName)) {}
    virtual ~Factory() = default;
    virtual std::string getTypeName()
    {
        ++nameReads;
        return typeName_;
    }
    int nameReads = 0;

private:
    std::string typeName_;
};

class ThrowingFactory : public Factory
{
public:
    ThrowingFactory() : Factory("") {}
    std::string getTypeName() override { throw std::runtime_error("no name today"); }
};

} // namespace

TEST(FactoryRegistry, FirstFactoryOfATypeNameWins)
{
    CFactoryRegistry<Factory> registry;
    const auto first = std::make_shared<Factory>("Rvl::CThing");
    const auto second = std::make_shared<Factory>("Rvl::CThing");
    EXPECT_TRUE(registry.put(first));
    EXPECT_FALSE(registry.put(second));
    EXPECT_EQ(first, registry.get("Rvl::CThing"));
    EXPECT_EQ(1, second.use_count()) << "the second one is dropped";
}

TEST(FactoryRegistry, GetOfAnUnknownNameThrows)
{
    CFactoryRegistry<Factory> registry;
    registry.put(std::make_shared<Factory>("Rvl::CThing"));
    EXPECT_EQ("Factory  does not exist in factory registry",
              messageOf<CConfigurationException>([&] { registry.get(""); }));
    EXPECT_EQ("Factory rvl::cthing does not exist in factory registry",
              messageOf<CConfigurationException>([&] { registry.get("rvl::cthing"); }));
}

TEST(FactoryRegistry, GetOfAnUnknownNameIsLogged)
{
    LogCapture log("ExceptionLogger");
    CFactoryRegistry<Factory> registry;
    EXPECT_THROW(registry.get("Rvl::CNone"), CConfigurationException);
    EXPECT_THAT(log.lines(), testing::ElementsAre(
                                 "ERROR Exception CConfigurationException thrown: Factory Rvl::CNone does "
                                 "not exist in factory registry"));
}

TEST(FactoryRegistry, PutLogsEveryFactoryEvenRefusedOnes)
{
    LogCapture log("EnvLogger");
    CFactoryRegistry<Factory> registry;
    registry.put(std::make_shared<Factory>("Rvl::CThing"));
    registry.put(std::make_shared<Factory>("Rvl::CThing"));
    EXPECT_THROW(registry.put(std::make_shared<Factory>("")), CConfigurationException);
    EXPECT_THAT(log.lines(), testing::ElementsAre("INFO Factory Rvl::CThing registered in registry",
                                                  "INFO Factory Rvl::CThing registered in registry",
                                                  "INFO Factory  registered in registry"));
}

TEST(FactoryRegistry, TypeNameIsReadOnceMoreForTheLogOnlyWhileInfoIsOn)
{
    LogCapture log("EnvLogger");
    CFactoryRegistry<Factory> registry;
    const auto logged = std::make_shared<Factory>("Rvl::CLogged");
    registry.put(logged);
    EXPECT_EQ(2, logged->nameReads);
    log4cplus::Logger::getInstance("EnvLogger").setLogLevel(log4cplus::WARN_LOG_LEVEL);
    const auto silent = std::make_shared<Factory>("Rvl::CSilent");
    registry.put(silent);
    EXPECT_EQ(1, silent->nameReads);
}

TEST(FactoryRegistry, EmptyTypeNameIsRefusedAndNothingIsFiled)
{
    CFactoryRegistry<Factory> registry;
    EXPECT_EQ("Registration of device with empty name not possible",
              messageOf<CConfigurationException>([&] { registry.put(std::make_shared<Factory>("")); }));
    EXPECT_EQ(0u, registry.size());
}

TEST(FactoryRegistry, ExceptionOfGetTypeNamePassesAndNothingIsFiled)
{
    CFactoryRegistry<Factory> registry;
    EXPECT_THROW(registry.put(std::make_shared<ThrowingFactory>()), std::runtime_error);
    EXPECT_EQ(0u, registry.size());
}

TEST(FactoryRegistry, ConcurrentPutsOfOneNameFileExactlyOne)
{
    CFactoryRegistry<Factory> registry;
    std::atomic<int> filed{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 200; ++i) {
                if (registry.put(std::make_shared<Factory>("Rvl::C" + std::to_string(i)))) {
                    ++filed;
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(200, filed);
    EXPECT_EQ(200u, registry.size());
}
