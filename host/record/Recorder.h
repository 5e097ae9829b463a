#pragma once

#include "host/session/ControllerState.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace Rvl {

class CFileClaim;

/// Writes the controllers' states to a CSV file (RFC 4180 quoting, lines ended by a line feed): time,
/// channel, set point, actual value, control value, enabled, manual, state. Numbers have a decimal point
/// whatever the locale and read back exactly. Every row is passed to the system before write() returns, so
/// that killing the process loses none.
class CRecorder
{
public:
    /// Creates the file and writes its header with the units of the controllers given. An existing file is
    /// replaced if `replace` is true.
    /// Throws CHostException (ExitFailure) if the file exists otherwise, if it cannot be created, or if
    /// another recorder is writing it (where the file system has locks).
    CRecorder(const std::filesystem::path& file, bool replace, const std::vector<SControllerState>& states);
    ~CRecorder();
    CRecorder(const CRecorder&) = delete;
    CRecorder& operator=(const CRecorder&) = delete;

    /// One row per controller. Once writing has failed nothing more is written: a record has no holes.
    /// Returns false the one time that it fails.
    bool write(const std::vector<SControllerState>& states, std::chrono::system_clock::time_point moment);
    bool failed() const { return failed_; }

private:
    bool flush();

    std::unique_ptr<CFileClaim> claim_;
    std::ofstream stream_;
    bool failed_ = false;
};

/// A CSV field: in quotation marks if it has to be.
std::string csvField(const std::string& text);

} // namespace Rvl
