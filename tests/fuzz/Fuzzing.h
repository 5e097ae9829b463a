#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

/// What a harness promises to keep for every input; a broken promise ends the program, which is what fuzzers
/// look for.
#define FUZZ_REQUIRE(condition, message)                                                                     \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            ::Rvl::Test::fuzzFailure(__FILE__, __LINE__, #condition, (message));                             \
        }                                                                                                    \
    } while (false)

namespace Rvl::Test {

[[noreturn]] inline void fuzzFailure(const char* file, int line, const char* condition,
                                     const std::string& message)
{
    std::fprintf(stderr, "%s:%d: not kept: %s: %s\n", file, line, condition, message.c_str());
    std::abort();
}

/// Reads an input piece by piece; beyond its end stand zeros.
class CBytes
{
public:
    CBytes(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}

    bool atEnd() const { return left_ == 0; }

    template <class Number> Number take()
    {
        Number number{};
        const std::size_t size = std::min(sizeof number, left_);
        if (size > 0) {
            std::memcpy(&number, data_, size);
        }
        skip(size);
        return number;
    }
    std::uint8_t byte() { return take<std::uint8_t>(); }
    /// At most `longest` bytes, as many as the next byte says.
    std::string text(std::size_t longest)
    {
        const std::size_t length = std::min({std::size_t{byte()}, longest, left_});
        std::string result(reinterpret_cast<const char*>(data_), length);
        skip(length);
        return result;
    }
    /// Mostly any number at all, sometimes one of those that have a meaning of their own.
    double number()
    {
        static constexpr double special[] = {0.0,   -0.0,         1.0,    0.1,  100.0, -1e308,
                                             1e308, 4294967295.0, 1e-310, 20.0, 4.0,   -5.0};
        const std::uint8_t choice = byte();
        return choice < 128   ? special[choice % std::size(special)]
               : choice < 192 ? static_cast<double>(take<std::int16_t>()) / 16.0
                              : take<double>();
    }

private:
    void skip(std::size_t size)
    {
        data_ += size;
        left_ -= size;
    }

    const std::uint8_t* data_;
    std::size_t left_;
};

} // namespace Rvl::Test

/// The entry of a harness, by the name that libFuzzer gives it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
