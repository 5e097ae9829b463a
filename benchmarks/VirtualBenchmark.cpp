// How fast virtual time goes, as a multiple of real time. "floor" is a bare queue of events with the same
// physics and the same number of steps.
//
// virtual_benchmark rivlink FILE PLUGIN_FOLDER SECONDS [RECORD]
// virtual_benchmark floor CASCADES SECONDS
// prints how many seconds of virtual time passed in one of real time, and the time for each event. RECORD is
// written every 100 ms of virtual time.

#include "benchmarks/Measuring.h"
#include "benchmarks/VirtualFloor.h"
#include "host/process/DescriptorLimit.h"
#include "host/process/LogSetup.h"
#include "host/record/Recorder.h"
#include "host/record/RecordSink.h"
#include "host/session/LoadedConfiguration.h"
#include "host/session/Observer.h"
#include "runtime/Timelines.h"
#include "runtime/VirtualTimeline.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace Rvl::Benchmark {

namespace {

void report(double virtual_s, std::int64_t real_ns, std::uint64_t events)
{
    std::cout << "{\"speed\": " << virtual_s * 1e9 / static_cast<double>(real_ns)
              << ", \"event_ns\": " << static_cast<double>(real_ns) / static_cast<double>(events) << "}"
              << std::endl;
}

int floor(std::size_t cascades, double seconds)
{
    CFloorCascades floor(cascades);
    const std::int64_t begin = now_ns();
    floor.run(seconds);
    report(seconds, now_ns() - begin, floor.events());
    return floor.vesselTemperature() > 0.0 ? EXIT_SUCCESS : EXIT_FAILURE; // and so it is calculated
}

int rivlink(const std::vector<std::string>& arguments)
{
    raiseDescriptorLimit();
    setUpLogging("off");
    CVirtualTimeline timeline{std::chrono::system_clock::time_point()};
    setCurrentTimeline(&timeline);
    SSessionSettings settings;
    settings.timeline = &timeline;
    settings.threads = CDeadlineTasks::Inline;
    int result = EXIT_SUCCESS;
    {
        CLoadedConfiguration loaded(arguments[0], CPluginPath({arguments[1]}), settings);
        if (!loaded.faults().empty()) {
            std::cerr << loaded.faults().report(arguments[0]);
            return EXIT_FAILURE;
        }
        const double seconds = std::stod(arguments[2]);
        CSession& session = loaded.session();
        const std::unique_ptr<IWorker> worker = timeline.makeWorker("observer");
        CObserver observer(session, timeline, *worker,
                           [&](const std::exception_ptr&) { result = EXIT_FAILURE; });
        std::unique_ptr<CRecorder> recorder;
        std::unique_ptr<CRecordSink> sink;
        if (arguments.size() > 3) {
            recorder = std::make_unique<CRecorder>(arguments[3], true, session.snapshot().controllers);
            sink = std::make_unique<CRecordSink>(*recorder, std::chrono::milliseconds(100), session.calls(),
                                                 [&] { result = EXIT_FAILURE; });
            observer.add(*sink);
        }
        session.start();
        observer.start();
        const std::uint64_t before = timeline.taskCount();
        const std::int64_t begin = now_ns();
        timeline.runFor(std::chrono::nanoseconds(static_cast<std::int64_t>(seconds * 1e9)));
        report(seconds, now_ns() - begin, timeline.taskCount() - before);
        observer.stop();
        session.shutDown();
    }
    setCurrentTimeline(nullptr);
    return result;
}

} // namespace

} // namespace Rvl::Benchmark

int main(int argc, char** argv)
{
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() == 3 && words[0] == "floor") {
        return Rvl::Benchmark::floor(std::stoul(words[1]), std::stod(words[2]));
    }
    if ((words.size() == 4 || words.size() == 5) && words[0] == "rivlink") {
        return Rvl::Benchmark::rivlink({words.begin() + 1, words.end()});
    }
    std::cerr
        << "usage: virtual_benchmark rivlink FILE PLUGIN_FOLDER SECONDS [RECORD] | floor CASCADES SECONDS\n";
    return EXIT_FAILURE;
}
