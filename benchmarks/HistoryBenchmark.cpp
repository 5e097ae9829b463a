// What a history takes: values that change in every bit, as those of a noisy sensor do, beside a set point
// that stays.
//
// history_benchmark write FILE CONTROLLERS SECONDS
// writes so many seconds of values, 100 ms apart, as fast as it goes; prints how many values a second that
// are (set point, actual value, control value, enabled, manual and state of a controller are one sample of
// six values) and how many bytes of the file each takes.
//
// history_benchmark read FILE POINTS
// prints how long it takes to open a history and read the trend of its first controller over all of its time.

#include "benchmarks/Measuring.h"
#include "host/history/HistoryReader.h"
#include "host/history/HistoryWriter.h"

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <random>
#include <string>

namespace Rvl::Benchmark {

namespace {

constexpr int valuesPerSample = 6;

int write(const std::string& file, int controllers, int seconds)
{
    const auto begin = std::chrono::system_clock::time_point(std::chrono::milliseconds(1'772'366'400'000));
    std::mt19937_64 random(1);
    std::normal_distribution<double> noise(0.0, 0.05);
    std::int64_t used_ns = 0;
    {
        CHistoryWriter writer(file, {std::chrono::hours(24 * 365), 1'000'000'000'000});
        std::vector<SHistoryController> names;
        for (int i = 0; i < controllers; ++i) {
            names.push_back({"Controller " + std::to_string(i), "degC"});
        }
        writer.define(names, {{EHealth::Ok, "ok"}});
        for (int i = 0; i < seconds * 10;) {
            SHistoryBatch batch;
            for (int n = 0; n < 5; ++n, ++i) { // as many as a sink writes at once
                SHistoryMoment moment{begin + i * std::chrono::milliseconds(100), {}};
                for (int c = 0; c < controllers; ++c) {
                    moment.states.push_back(
                        {45.0, 45.0 + noise(random), 50.0 + noise(random), true, false, 0});
                }
                batch.moments.push_back(std::move(moment));
            }
            const std::int64_t before = now_ns();
            writer.write(batch);
            used_ns += now_ns() - before;
        }
    }
    const double samples = static_cast<double>(seconds) * 10.0 * controllers;
    const auto bytes = static_cast<double>(std::filesystem::file_size(file));
    std::cout << "{\"values_per_s\": " << samples * valuesPerSample / static_cast<double>(used_ns) * 1e9
              << ", \"bytes_per_sample\": " << bytes / samples
              << ", \"bytes_per_value\": " << bytes / samples / valuesPerSample << "}" << std::endl;
    return EXIT_SUCCESS;
}

int read(const std::string& file, std::size_t points)
{
    const std::int64_t begin = now_ns();
    const CHistoryReader reader(file);
    const auto range = reader.range();
    if (!range) {
        std::cerr << "the history has no values" << std::endl;
        return EXIT_FAILURE;
    }
    const std::size_t rows =
        reader.read(reader.channels().at(0).name, range->from, range->to, points).rows.size();
    std::cout << "{\"rows\": " << rows << ", \"trend_ms\": " << static_cast<double>(now_ns() - begin) / 1e6
              << "}" << std::endl;
    return EXIT_SUCCESS;
}

} // namespace

} // namespace Rvl::Benchmark

int main(int argc, char** argv)
{
    using namespace Rvl::Benchmark;
    const std::string side = argc > 1 ? argv[1] : "";
    if (side == "write" && argc == 5) {
        return write(argv[2], std::atoi(argv[3]), std::atoi(argv[4]));
    }
    if (side == "read" && argc == 4) {
        return read(argv[2], static_cast<std::size_t>(std::atoi(argv[3])));
    }
    std::cerr << "history_benchmark write FILE CONTROLLERS SECONDS | read FILE POINTS" << std::endl;
    return 64;
}
