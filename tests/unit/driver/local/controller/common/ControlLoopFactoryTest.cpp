#include "driver/local/controller/common/ControlLoopFactory.h"

#include "driver/local/controller/common/LoopInOutFactory.h"
#include "driver/local/controller/common/LoopProcessor.h"
#include "driver/local/controller/common/LoopProcessorFactory.h"
#include "driver/local/controller/common/TimedLoopProcessorFactory.h"
#include "driver/local/controller/controlloop/ConditionalControlLoopFactory.h"
#include "driver/local/controller/controlloop/PIDControlLoopFactory.h"
#include "driver/local/controller/controlloop/PT1ElementFactory.h"
#include "driver/local/controller/controlloop/TwoLevelControlLoopFactory.h"
#include "driver/local/controller/controlloopinput/AnalogChannelLoopInFactory.h"
#include "driver/local/controller/controlloopinput/LoopInFactory.h"
#include "driver/local/controller/controlloopoutput/AnalogChannelLoopOutFactory.h"
#include "driver/local/controller/controlloopoutput/AnalogTwoQuadrantLoopOutFactory.h"
#include "driver/local/controller/controlloopoutput/DigitalChannelLoopOutFactory.h"
#include "driver/local/controller/controlloopoutput/LoopOutFactory.h"
#include "driver/local/controller/controlloopoutput/PumpLoopOutFactory.h"
#include "driver/local/controller/controlloopoutput/PWMLoopOutFactory.h"
#include "driver/local/controller/controlloopoutput/PWMTwoQuadrantLoopOutFactory.h"
#include "tests/support/FakeLoopElements.h"
#include "tests/support/LogCapture.h"
#include "tests/support/VirtualSlot.h"

#include <boost/property_tree/ptree.hpp>
#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>

using namespace Rvl;
using namespace Rvl::Test;
using boost::property_tree::ptree;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class FakeInOut : public ILoopInOut
{
public:
    double readInputValue() override { return 0.0; }
    void writeOutputValue(double) override {}
};

class FakeProcessor : public ILoopProcessor
{
public:
    void addControlLoop(std::shared_ptr<IControlLoop>) override {}
    void runControlLoops() override {}
    void stopControlLoops() override {}
    bool processorActive() override { return false; }
};

/// What the fakes of the five kinds share: what to build, and a name that shows how often it was read.
template <class Interface, class ProductInterface, class FakeProduct> class FakeFactoryBase : public Interface
{
public:
    using Product = ProductInterface;

    std::string getTypeName() override
    {
        ++nameCalls;
        return nameCalls > 1 ? "Rvl::Again" : "Rvl::Fake";
    }

    enum
    {
        BuildsProduct,
        BuildsNull,
        Throws
    } behaviour = BuildsProduct;
    int nameCalls = 0;
    const ptree* seenTree = nullptr;

protected:
    Product* build()
    {
        if (behaviour == Throws) {
            throw std::logic_error("product");
        }
        return behaviour == BuildsNull ? nullptr : new FakeProduct;
    }
};

template <class Interface, class ProductInterface, class FakeProduct>
class FakeTreeFactory : public FakeFactoryBase<Interface, ProductInterface, FakeProduct>
{
public:
    ProductInterface* create()
    {
        const ptree tree;
        ProductInterface* product = this->createObject(tree);
        EXPECT_EQ(this->seenTree, &tree) << "the same tree is handed on";
        return product;
    }
    static std::size_t createObjectImplSlot() { return virtualSlot(&FakeTreeFactory::createObjectImpl); }

protected:
    ProductInterface* createObjectImpl(const ptree& tree) override
    {
        this->seenTree = &tree;
        return this->build();
    }
};

class FakeControlLoopFactory : public FakeTreeFactory<IControlLoopFactory, IControlLoop, FakeControlLoop>
{
public:
    static constexpr const char* logName = "IControlLoopFactory";
    static constexpr const char* file = "driver/local/controller/common/ControlLoopFactory.cpp";
};

class FakeLoopInFactory : public FakeTreeFactory<ILoopInFactory, ILoopIn, FakeLoopIn>
{
public:
    static constexpr const char* logName = "IControlLoopInputFactory";
    static constexpr const char* file = "driver/local/controller/controlloopinput/LoopInFactory.cpp";
};

class FakeLoopOutFactory : public FakeTreeFactory<ILoopOutFactory, ILoopOut, FakeLoopOut>
{
public:
    static constexpr const char* logName = "IControlLoopOutputFactory";
    static constexpr const char* file = "driver/local/controller/controlloopoutput/LoopOutFactory.cpp";
};

class FakeLoopInOutFactory : public FakeTreeFactory<ILoopInOutFactory, ILoopInOut, FakeInOut>
{
public:
    static constexpr const char* logName = "IControlLoopInputOutputFactory";
    static constexpr const char* file = "driver/local/controller/common/LoopInOutFactory.cpp";
};

class FakeLoopProcessorFactory : public FakeFactoryBase<ILoopProcessorFactory, ILoopProcessor, FakeProcessor>
{
public:
    static constexpr const char* logName = "IControlLoopProcessorFactory";
    static constexpr const char* file = "driver/local/controller/common/LoopProcessorFactory.cpp";

    ILoopProcessor* create() { return createObject(); }
    static std::size_t createObjectImplSlot()
    {
        return virtualSlot(&FakeLoopProcessorFactory::createObjectImpl);
    }

protected:
    ILoopProcessor* createObjectImpl() override { return build(); }
};

template <class Factory> class ElementFactory : public testing::Test
{};

using Factories = testing::Types<FakeControlLoopFactory, FakeLoopInFactory, FakeLoopOutFactory,
                                 FakeLoopInOutFactory, FakeLoopProcessorFactory>;
TYPED_TEST_SUITE(ElementFactory, Factories);

template <class... Factory>
constexpr bool areCopyable = ((std::is_copy_constructible_v<Factory> &&
                               std::is_copy_assignable_v<Factory>)&&...);
static_assert(
    areCopyable<CPIDControlLoopFactory, CTwoLevelControlLoopFactory, CConditionalControlLoopFactory,
                CAnalogChannelLoopInFactory, CAnalogChannelLoopOutFactory, CDigitalChannelLoopOutFactory,
                CPWMLoopOutFactory, CAnalogTwoQuadrantLoopOutFactory, CPWMTwoQuadrantLoopOutFactory,
                CPumpLoopOutFactory, CPT1ElementFactory, CTimedLoopProcessorFactory>);

} // namespace

TYPED_TEST(ElementFactory, TracesItsLife)
{
    LogCapture log("CtorDtorLogger");
    {
        TypeParam factory;
        EXPECT_THAT(log.lines(), ElementsAre(std::string("TRACE CTOR ") + TypeParam::logName));
        log.clear();
    }
    EXPECT_THAT(log.lines(), ElementsAre(std::string("TRACE DTOR ") + TypeParam::logName));
}

TYPED_TEST(ElementFactory, GivesTheProductToTheCaller)
{
    TypeParam factory;
    LogCapture log("ExceptionLogger");
    const std::unique_ptr<typename TypeParam::Product> product(factory.create());
    EXPECT_TRUE(product);
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(factory.nameCalls, 0);
}

TYPED_TEST(ElementFactory, NullProductThrowsAndLogsOneLine)
{
    TypeParam factory;
    factory.behaviour = TypeParam::BuildsNull;
    LogCapture log("ExceptionLogger");
    try {
        factory.create();
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Could not create object of type Rvl::Fake");
    }
    // the log reads the name on its own
    EXPECT_THAT(log.lines(), ElementsAre("ERROR Exception std::runtime_error thrown: "
                                         "Could not create object of type Rvl::Again"));
    ASSERT_EQ(log.records().size(), 1u);
    EXPECT_EQ(log.records()[0].file, TypeParam::file);
}

TYPED_TEST(ElementFactory, NameIsAskedForOnceIfNothingIsLogged)
{
    TypeParam factory;
    factory.behaviour = TypeParam::BuildsNull;
    LogCapture log("ExceptionLogger");
    log4cplus::Logger logger = log4cplus::Logger::getInstance("ExceptionLogger");
    logger.setLogLevel(log4cplus::OFF_LOG_LEVEL); // the capture puts the level back
    EXPECT_THROW(factory.create(), std::runtime_error);
    EXPECT_EQ(factory.nameCalls, 1);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TYPED_TEST(ElementFactory, ExceptionsOfTheProductPassUnlogged)
{
    TypeParam factory;
    factory.behaviour = TypeParam::Throws;
    LogCapture log("ExceptionLogger");
    EXPECT_THROW(factory.create(), std::logic_error);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TYPED_TEST(ElementFactory, CopyBuildsOnItsOwn)
{
    const auto original = std::make_unique<TypeParam>();
    TypeParam copy(*original);
    TypeParam assigned;
    assigned.behaviour = TypeParam::BuildsNull;
    assigned = *original;
    original->behaviour = TypeParam::Throws;
    const std::unique_ptr<typename TypeParam::Product> product(copy.create());
    EXPECT_TRUE(product);
    const std::unique_ptr<typename TypeParam::Product> another(assigned.create());
    EXPECT_TRUE(another);
}

TYPED_TEST(ElementFactory, OperationsStandInTheirSlots)
{
    EXPECT_EQ(virtualSlot(&TypeParam::getTypeName), 2u); // after the destructor's two
    EXPECT_EQ(TypeParam::createObjectImplSlot(), 3u);
    EXPECT_EQ(virtualSlot(&TypeParam::createObject), 4u);
}
