// A plug-in with outputs that note when they are written: "Rvl::CProbeOutput", an analog output that drives
// nothing. The loops that write them are not changed by it. With the last output that is destroyed the file
// that the environment variable RIVLINK_PROBE_FILE names gets, as JSON, how late the loops' writes were
// against one RIVLINK_PROBE_PERIOD_MS after the one before. The first two seconds of each output do not
// count.

#include "benchmarks/Measuring.h"
#include "platform/rivlink_core/Environment.h"
#include "platform/rivlink_core/IoChannelFactory.h"
#include "platform/rivlink_device/AnalogOutChannel.h"

#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace Rvl::Benchmark {

namespace {

using boost::property_tree::ptree;

constexpr std::int64_t warmUp_ns = 2'000'000'000;

/// What all outputs noted.
struct SNoted
{
    std::mutex mutex;
    std::size_t outputs = 0;
    std::vector<std::int32_t> late_us;
};

SNoted& noted()
{
    static SNoted result;
    return result;
}

void report(std::vector<std::int32_t>& late_us)
{
    const char* const file = std::getenv("RIVLINK_PROBE_FILE");
    if (!file) {
        return;
    }
    std::ofstream(file) << "{\"steps\": " << late_us.size() << ", \"p50_us\": " << quantile(late_us, 0.5)
                        << ", \"p99_us\": " << quantile(late_us, 0.99)
                        << ", \"p999_us\": " << quantile(late_us, 0.999) << "}" << std::endl;
}

class CProbeOutput : public CAnalogOutChannel
{
public:
    explicit CProbeOutput(const ptree& tree)
        : CAnalogOutChannel(IIoChannelFactory::channelNameFromProperties(tree))
    {
        const char* const period = std::getenv("RIVLINK_PROBE_PERIOD_MS");
        period_us_ = period ? 1000 * std::atoi(period) : 0;
        late_us_.reserve(100'000);
        const std::lock_guard<std::mutex> lock(noted().mutex);
        ++noted().outputs;
    }
    ~CProbeOutput() override
    {
        const std::lock_guard<std::mutex> lock(noted().mutex);
        SNoted& all = noted();
        all.late_us.insert(all.late_us.end(), late_us_.begin(), late_us_.end());
        if (--all.outputs == 0) {
            report(all.late_us);
        }
    }
    void connectToDevice() override {}

protected:
    void driveOutput(double) override
    {
        const std::int64_t now = now_ns();
        const std::int64_t before = std::exchange(last_ns_, now);
        first_ns_ = first_ns_ == 0 ? now : first_ns_;
        if (before != 0 && now - first_ns_ > warmUp_ns && late_us_.size() < late_us_.capacity()) {
            late_us_.push_back(static_cast<std::int32_t>((now - before) / 1000 - period_us_));
        }
    }

private:
    std::int64_t period_us_ = 0;
    std::int64_t first_ns_ = 0;
    std::int64_t last_ns_ = 0;
    std::vector<std::int32_t> late_us_;
};

class CProbeFactory : public IIoChannelFactory
{
public:
    std::string getTypeName() override { return "Rvl::CProbeOutput"; }

protected:
    IIoChannelInterface* createObjectImpl(const ptree& tree) override { return new CProbeOutput(tree); }
};

void registerFactories()
{
    CEnvironment::getInstance()->getIoChannellFactoryRegistry().put(std::make_shared<CProbeFactory>());
}

[[maybe_unused]] const bool registered =
    CEnvironment::getInstance()->registerFactories().connect(registerFactories).connected();

} // namespace

} // namespace Rvl::Benchmark
