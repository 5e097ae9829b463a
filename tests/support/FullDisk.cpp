#include "tests/support/FullDisk.h"

#if defined(_WIN32)
#include <atomic>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <windows.h>
#endif

namespace Rvl::Test {

#if defined(_WIN32)

/// A pipe that is read until it has taken enough; from then on each writer is disconnected at once.
struct CFullDisk::Private
{
    const std::string path = "\\\\.\\pipe\\rivlink-full-disk-" + std::to_string(GetCurrentProcessId());
    const HANDLE pipe =
        CreateNamedPipeA(path.c_str(), PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE | PIPE_WAIT, 1, 0, 0, 0, nullptr);
    std::atomic<bool> stop{false};
    std::atomic<bool> ended{false};
    const std::size_t takes;
    mutable std::mutex mutex;
    std::string taken;
    std::thread thread;

    explicit Private(std::size_t size) : takes(size)
    {
        if (pipe == INVALID_HANDLE_VALUE) {
            throw std::runtime_error("no pipe " + path);
        }
        thread = std::thread([this] {
            while (!stop) {
                ConnectNamedPipe(pipe, nullptr);
                take();
                DisconnectNamedPipe(pipe);
            }
            ended = true;
        });
    }

    ~Private()
    {
        stop = true;
        // the thread waits for a writer, or is about to
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

    void take()
    {
        char bytes[128];
        DWORD count = 0;
        while (taken.size() < takes && ReadFile(pipe, bytes, sizeof bytes, &count, nullptr)) {
            const std::lock_guard<std::mutex> lock(mutex);
            taken.append(bytes, count);
        }
    }
};

CFullDisk::CFullDisk() : CFullDisk(0) {}

CFullDisk::CFullDisk(std::size_t takes) : private_(std::make_unique<Private>(takes)) {}

std::string CFullDisk::content() const
{
    const std::lock_guard<std::mutex> lock(private_->mutex);
    return private_->taken;
}

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
