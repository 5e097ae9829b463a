#include "host/record/Recorder.h"

#include "host/base/HostException.h"
#include "host/base/RecordText.h"
#include "host/base/SystemText.h"
#include "host/base/UtcText.h"
#include "host/process/FileClaim.h"
#include "host/process/PipeReader.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace Rvl {

namespace {

constexpr const char* headerBegin = "time,channel,";

/// Whether an existing file may be emptied: it is a record, or empty already.
bool isRecord(const std::filesystem::path& file)
{
    const std::string expected = headerBegin;
    std::string begin(expected.size(), '\0');
    std::ifstream stream(file, std::ios::binary);
    stream.read(begin.data(), static_cast<std::streamsize>(begin.size()));
    return stream.gcount() == 0 || begin == expected;
}

} // namespace

CRecorder::CRecorder(const std::filesystem::path& file, bool replace,
                     const std::vector<SControllerState>& states)
    : file_(file)
{
    // devices and pipes have no content to lose
    std::error_code ignored;
    if (std::filesystem::is_regular_file(file, ignored)) {
        if (!replace) {
            throw CHostException(ExitFailure,
                                 "the record " + textOf(file) + " already exists; --force replaces it");
        }
        if (!isRecord(file)) {
            throw CHostException(ExitFailure,
                                 textOf(file) + " is not a record; --force replaces records only");
        }
    } else if (std::filesystem::is_fifo(file, ignored) && !hasReader(file)) {
        throw CHostException(ExitFailure, "nothing reads the pipe " + textOf(file));
    }
    // before the file is emptied; devices and pipes can have several writers
    if (std::filesystem::is_regular_file(file, ignored) || !std::filesystem::exists(file, ignored)) {
        claim_ = std::make_unique<CFileClaim>(file);
        if (!claim_->isGranted()) {
            throw CHostException(ExitFailure,
                                 "the record " + textOf(file) + " is being written by another program");
        }
    }
    errno = 0;
    stream_.open(file, std::ios::binary | std::ios::trunc);
    if (!stream_) {
        throw CHostException(ExitFailure, "cannot create the record " + textOf(file) + ": " +
                                              std::generic_category().message(errno ? errno : EIO));
    }
    isRegular_ = std::filesystem::is_regular_file(file, ignored);
    std::vector<std::pair<std::string, std::string>> controllers;
    for (const SControllerState& state : states) {
        controllers.emplace_back(state.name, state.unit);
    }
    // a failure is reported with the first rows
    failedWithHeader_ = !put(recordHeader(controllers) + '\n');
}

CRecorder::~CRecorder() = default;

bool CRecorder::write(const std::vector<SControllerState>& states,
                      std::chrono::system_clock::time_point moment)
{
    if (failed_) {
        return true;
    }
    const std::string time = utcText(moment);
    std::string rows;
    for (const SControllerState& state : states) {
        rows += recordRow(time, {state.name, state.setPoint, state.actualValue, state.controlValue,
                                 state.enabled, state.manual, state.health.text});
    }
    failed_ = failedWithHeader_ || !put(rows);
    return !failed_;
}

bool CRecorder::put(const std::string& text)
{
    stream_ << text << std::flush;
    if (stream_) {
        size_ += text.size();
        return true;
    }
    if (isRegular_) {
        stream_.close();
        std::error_code ignored;
        std::filesystem::resize_file(file_, size_, ignored); // without a part of a row
    }
    return false;
}

} // namespace Rvl
