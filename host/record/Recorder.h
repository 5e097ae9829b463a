#pragma once

#include "host/session/ControllerState.h"

#include <chrono>
#include <cstdint>
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
/// that killing the process loses none. When writing fails, the rows of that moment are taken out again, so
/// that every row of a file is whole.
class CRecorder
{
public:
    /// Creates the file and writes its header with the units of the controllers given. An existing record is
    /// replaced if `replace` is true, and so is an empty file. Devices are written to, and pipes that
    /// something reads.
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
    bool put(const std::string& text);

    const std::filesystem::path file_;
    bool isRegular_ = false;
    std::uintmax_t size_ = 0; ///< of what is whole
    std::unique_ptr<CFileClaim> claim_;
    std::ofstream stream_;
    bool failedWithHeader_ = false;
    bool failed_ = false;
};

} // namespace Rvl
