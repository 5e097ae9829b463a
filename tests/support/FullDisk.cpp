#include "tests/support/FullDisk.h"

#if defined(_WIN32)
#include <atomic>
#include <stdexcept>
#include <thread>
#include <windows.h>
#endif

namespace Rvl::Test {

#if defined(_WIN32)

/// A pipe that nobody reads from: whoever opens it is cut off at once.
struct CFullDisk::Private
{
    const std::string path = "\\\\.\\pipe\\rivlink-full-disk-" + std::to_string(GetCurrentProcessId());
    const HANDLE pipe =
        CreateNamedPipeA(path.c_str(), PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE | PIPE_WAIT, 1, 0, 0, 0, nullptr);
    std::atomic<bool> stop{false};
    std::atomic<bool> ended{false};
    std::thread thread;

    Private()
    {
        if (pipe == INVALID_HANDLE_VALUE) {
            throw std::runtime_error("no pipe " + path);
        }
        thread = std::thread([this] {
            while (!stop) {
                ConnectNamedPipe(pipe, nullptr);
                DisconnectNamedPipe(pipe);
            }
            ended = true;
        });
    }

    ~Private()
    {
        stop = true;
        // the thread waits for somebody to open it, or is about to
        while (!ended) {
            const HANDLE last =
                CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
            if (last != INVALID_HANDLE_VALUE) {
                CloseHandle(last);
            }
            std::this_thread::yield();
        }
        thread.join();
        CloseHandle(pipe);
    }
};

CFullDisk::CFullDisk() : private_(std::make_unique<Private>()) {}

std::string CFullDisk::path() const
{
    return private_->path;
}

#else

struct CFullDisk::Private
{};

CFullDisk::CFullDisk() = default;

std::string CFullDisk::path() const
{
    return "/dev/full";
}

#endif

CFullDisk::~CFullDisk() = default;

} // namespace Rvl::Test
