#include "host/record/Recorder.h"

#include "host/base/HostException.h"
#include "host/base/NumberText.h"
#include "host/base/SystemText.h"
#include "host/base/UtcText.h"
#include "host/process/FileClaim.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace Rvl {

namespace {

/// The unit behind a column's name: the common one, or each controller's.
std::string unitText(const std::vector<SControllerState>& states)
{
    if (states.empty()) {
        return {};
    }
    const bool common = std::all_of(states.begin(), states.end(), [&](const SControllerState& state) {
        return state.unit == states.front().unit;
    });
    if (common) {
        return states.front().unit.empty() ? "" : " [" + states.front().unit + "]";
    }
    std::string result;
    for (const SControllerState& state : states) {
        if (!state.unit.empty()) {
            result += (result.empty() ? "" : "; ") + state.name + ": " + state.unit;
        }
    }
    return " [" + result + "]";
}

} // namespace

CRecorder::CRecorder(const std::filesystem::path& file, bool replace,
                     const std::vector<SControllerState>& states)
{
    // devices and pipes have no content to lose
    std::error_code ignored;
    if (!replace && std::filesystem::is_regular_file(file, ignored)) {
        throw CHostException(ExitFailure,
                             "the record " + textOf(file) + " already exists; --force replaces it");
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
    const std::string unit = unitText(states);
    stream_ << "time,channel," << csvField("set point" + unit) << ',' << csvField("actual value" + unit)
            << ",control value,enabled,manual,state\n";
    // a failure is reported with the first rows
    stream_.flush();
}

CRecorder::~CRecorder() = default;

bool CRecorder::write(const std::vector<SControllerState>& states,
                      std::chrono::system_clock::time_point moment)
{
    if (failed_) {
        return true;
    }
    const std::string time = utcText(moment);
    for (const SControllerState& state : states) {
        stream_ << time << ',' << csvField(state.name) << ',' << exactText(state.setPoint) << ','
                << exactText(state.actualValue) << ',' << exactText(state.controlValue) << ','
                << (state.enabled ? "true" : "false") << ',' << (state.manual ? "true" : "false") << ','
                << csvField(state.health.text) << '\n';
    }
    return flush();
}

bool CRecorder::flush()
{
    stream_.flush();
    failed_ = !stream_;
    return !failed_;
}

std::string csvField(const std::string& text)
{
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char c : text) {
        quoted += c;
        if (c == '"') {
            quoted += '"';
        }
    }
    return quoted + "\"";
}

} // namespace Rvl
