#include "host/history/SampleCode.h"

#include <algorithm>
#include <bit>
#include <stdexcept>

namespace Rvl {

namespace {

/// More than any stretch of one encoding holds: a damaged count must not take all memory.
constexpr std::uint64_t mostSamples = 10'000'000;

void putNumber(std::string& code, std::uint64_t number)
{
    while (number >= 0x80) {
        code += static_cast<char>(0x80 | (number & 0x7f));
        number >>= 7;
    }
    code += static_cast<char>(number);
}

/// Small numbers of either sign as small ones without a sign. Differences wrap around.
std::uint64_t zigzag(std::uint64_t number)
{
    return (number << 1) ^ (0 - (number >> 63));
}

std::uint64_t unzigzag(std::uint64_t number)
{
    return (number >> 1) ^ (0 - (number & 1));
}

class CReader
{
public:
    explicit CReader(std::string_view code) : code_(code) {}

    bool atEnd() const { return place_ == code_.size(); }
    std::uint8_t byte()
    {
        if (atEnd()) {
            throw std::runtime_error("the code of samples ends early");
        }
        return static_cast<std::uint8_t>(code_[place_++]);
    }
    std::uint64_t number()
    {
        std::uint64_t result = 0;
        for (unsigned shift = 0; shift < 64; shift += 7) {
            const std::uint8_t next = byte();
            result |= static_cast<std::uint64_t>(next & 0x7f) << shift;
            if (next < 0x80) {
                return result;
            }
        }
        throw std::runtime_error("a number in the code of samples is too long");
    }
    /// Of something that is repeated, at most `rest` times.
    std::size_t repetitions(std::size_t rest)
    {
        const std::uint64_t result = number();
        if (result == 0 || result > rest) {
            throw std::runtime_error("a count in the code of samples is wrong");
        }
        return static_cast<std::size_t>(result);
    }

private:
    std::string_view code_;
    std::size_t place_ = 0;
};

/// `same` zeros as a 0 and their number.
void flushSame(std::string& code, std::uint64_t& same)
{
    if (same > 0) {
        code += '\0';
        putNumber(code, same);
        same = 0;
    }
}

void encodeTimes(std::string& code, const std::vector<SCodedSample>& samples)
{
    std::uint64_t before = 0;
    std::uint64_t step = 0;
    std::uint64_t same = 0;
    for (const SCodedSample& sample : samples) {
        const auto time = static_cast<std::uint64_t>(sample.time_ms);
        const std::uint64_t change = time - before - step;
        step = time - before;
        before = time;
        if (change == 0) {
            ++same;
            continue;
        }
        flushSame(code, same);
        putNumber(code, zigzag(change));
    }
    flushSame(code, same);
}

void decodeTimes(CReader& reader, std::vector<SCodedSample>& samples)
{
    std::uint64_t before = 0;
    std::uint64_t step = 0;
    for (std::size_t i = 0; i < samples.size();) {
        const std::uint64_t change = unzigzag(reader.number());
        for (std::size_t n = change == 0 ? reader.repetitions(samples.size() - i) : 1; n > 0; --n) {
            step += change;
            before += step;
            samples[i++].time_ms = static_cast<std::int64_t>(before);
        }
    }
}

void encodeValues(std::string& code, const std::vector<SCodedSample>& samples, double SCodedSample::*value)
{
    std::uint64_t before = 0;
    std::uint64_t same = 0;
    for (const SCodedSample& sample : samples) {
        const auto bits = std::bit_cast<std::uint64_t>(sample.*value);
        const std::uint64_t change = bits ^ before;
        before = bits;
        if (change == 0) {
            ++same;
            continue;
        }
        flushSame(code, same);
        const auto trailing = static_cast<unsigned>(std::countr_zero(change)) / 8;
        const unsigned length = 8 - trailing - static_cast<unsigned>(std::countl_zero(change)) / 8;
        code += static_cast<char>(trailing << 4 | length);
        for (unsigned i = 0; i < length; ++i) {
            code += static_cast<char>(change >> 8 * (trailing + i) & 0xff);
        }
    }
    flushSame(code, same);
}

void decodeValues(CReader& reader, std::vector<SCodedSample>& samples, double SCodedSample::*value)
{
    std::uint64_t before = 0;
    for (std::size_t i = 0; i < samples.size();) {
        const unsigned head = reader.byte();
        const unsigned trailing = head >> 4;
        const unsigned length = head & 0x0f;
        std::size_t times = 1;
        if (head == 0) {
            times = reader.repetitions(samples.size() - i);
        } else if (length == 0 || trailing + length > 8) {
            throw std::runtime_error("a value in the code of samples is wrong");
        }
        for (unsigned n = 0; n < length; ++n) {
            before ^= static_cast<std::uint64_t>(reader.byte()) << 8 * (trailing + n);
        }
        for (; times > 0; --times) {
            samples[i++].*value = std::bit_cast<double>(before);
        }
    }
}

void encodeStates(std::string& code, const std::vector<SCodedSample>& samples)
{
    for (auto begin = samples.begin(); begin != samples.end();) {
        const auto end = std::find_if(
            begin, samples.end(), [&](const SCodedSample& sample) { return sample.state != begin->state; });
        putNumber(code, begin->state);
        putNumber(code, static_cast<std::uint64_t>(end - begin));
        begin = end;
    }
}

void decodeStates(CReader& reader, std::vector<SCodedSample>& samples)
{
    for (std::size_t i = 0; i < samples.size();) {
        const auto state = static_cast<std::uint32_t>(reader.number());
        for (std::size_t n = reader.repetitions(samples.size() - i); n > 0; --n) {
            samples[i++].state = state;
        }
    }
}

template <class Unsigned> void putFixed(std::string& code, Unsigned number)
{
    for (std::size_t i = 0; i < sizeof number; ++i) {
        code += static_cast<char>(number >> 8 * i & 0xff);
    }
}

template <class Unsigned> Unsigned fixedAt(std::string_view code, std::size_t place)
{
    Unsigned result = 0;
    for (std::size_t i = 0; i < sizeof result; ++i) {
        result |= static_cast<Unsigned>(static_cast<std::uint8_t>(code[place + i])) << 8 * i;
    }
    return result;
}

} // namespace

bool SCodedSample::operator==(const SCodedSample& other) const
{
    const auto bits = [](double value) { return std::bit_cast<std::uint64_t>(value); };
    return time_ms == other.time_ms && bits(setPoint) == bits(other.setPoint) &&
           bits(actualValue) == bits(other.actualValue) && bits(controlValue) == bits(other.controlValue) &&
           state == other.state;
}

std::string encodeSamples(const std::vector<SCodedSample>& samples)
{
    std::string code;
    putNumber(code, samples.size());
    encodeTimes(code, samples);
    encodeValues(code, samples, &SCodedSample::setPoint);
    encodeValues(code, samples, &SCodedSample::actualValue);
    encodeValues(code, samples, &SCodedSample::controlValue);
    encodeStates(code, samples);
    return code;
}

std::vector<SCodedSample> decodeSamples(std::string_view code)
{
    CReader reader(code);
    const std::uint64_t count = reader.number();
    if (count > mostSamples) {
        throw std::runtime_error("the number of samples is wrong");
    }
    std::vector<SCodedSample> samples(static_cast<std::size_t>(count));
    decodeTimes(reader, samples);
    decodeValues(reader, samples, &SCodedSample::setPoint);
    decodeValues(reader, samples, &SCodedSample::actualValue);
    decodeValues(reader, samples, &SCodedSample::controlValue);
    decodeStates(reader, samples);
    if (!reader.atEnd()) {
        throw std::runtime_error("the code of samples is too long");
    }
    return samples;
}

void CMomentCode::append(std::string& code, std::uint32_t controller, const SCodedSample& sample)
{
    putFixed(code, controller);
    putFixed(code, sample.state);
    for (const double value : {sample.setPoint, sample.actualValue, sample.controlValue}) {
        putFixed(code, std::bit_cast<std::uint64_t>(value));
    }
}

std::uint32_t CMomentCode::controllerAt(std::string_view code, std::size_t index)
{
    return fixedAt<std::uint32_t>(code, index * sampleLength);
}

SCodedSample CMomentCode::sampleAt(std::string_view code, std::size_t index, std::int64_t time_ms)
{
    const std::size_t place = index * sampleLength;
    const auto value = [&](std::size_t offset) {
        return std::bit_cast<double>(fixedAt<std::uint64_t>(code, place + offset));
    };
    return {time_ms, value(8), value(16), value(24), fixedAt<std::uint32_t>(code, place + 4)};
}

} // namespace Rvl
