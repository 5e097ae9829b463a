#include "host/process/TerminationSignals.h"

#include "runtime/ThreadName.h"

#include <boost/asio/post.hpp>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>
#include <windows.h>

namespace Rvl {

namespace {

/// An invisible window with a thread of its own. A process that has loaded user32 is notified of log-off and
/// system shut-down by window messages only, not by console events. It is not a message-only window, as
/// those do not receive these messages. Where no window can be created the object does nothing.
class CSessionWindow
{
public:
    using Request = void (*)();

    /// `request` is called on the window's thread.
    explicit CSessionWindow(Request request) : state_(std::make_shared<SState>())
    {
        state_->request = request;
        thread_ = std::thread([state = state_] {
            setThreadName("signals");
            serve(*state);
        });
        std::unique_lock<std::mutex> lock(state_->mutex);
        state_->changed.wait(lock, [this] { return state_->ready; });
    }
    ~CSessionWindow()
    {
        std::unique_lock<std::mutex> lock(state_->mutex);
        if (state_->window) {
            PostMessageW(state_->window, goMessage, 0, 0);
        }
        state_->changed.wait(lock, [this] { return !state_->window || state_->waits; });
        lock.unlock();
        if (state_->waits) {
            thread_.detach(); // ends with the process
        } else {
            thread_.join();
        }
    }
    CSessionWindow(const CSessionWindow&) = delete;
    CSessionWindow& operator=(const CSessionWindow&) = delete;

private:
    static constexpr UINT goMessage = WM_APP;
    static constexpr const wchar_t* className = L"rivlink-host end of session";

    /// Shared with the thread, which may outlive the object.
    struct SState
    {
        Request request = nullptr;
        std::mutex mutex;
        std::condition_variable changed;
        HWND window = nullptr;
        bool ready = false; ///< the window was created, or creating it failed
        bool waits = false; ///< the thread waits for the end of the process

        void setWindow(HWND present)
        {
            const std::lock_guard<std::mutex> lock(mutex);
            window = present;
            ready = true;
            changed.notify_all();
        }
    };

    static void serve(SState& state)
    {
        const HINSTANCE program = GetModuleHandleW(nullptr);
        WNDCLASSW windowClass{};
        windowClass.lpfnWndProc = &CSessionWindow::onMessage;
        windowClass.hInstance = program;
        windowClass.lpszClassName = className;
        RegisterClassW(&windowClass); // never unregistered: fails from the second time on
        const HWND window = CreateWindowExW(0, className, L"rivlink-host", WS_OVERLAPPED, 0, 0, 0, 0, nullptr,
                                            nullptr, program, nullptr);
        if (window) {
            SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&state));
        }
        state.setWindow(window);
        if (!window) {
            return;
        }
        for (MSG message; GetMessageW(&message, nullptr, 0, 0) > 0;) {
            DispatchMessageW(&message);
        }
        DestroyWindow(window);
        state.setWindow(nullptr);
    }

    static LRESULT CALLBACK onMessage(HWND window, UINT message, WPARAM first, LPARAM second)
    {
        auto* const state = reinterpret_cast<SState*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (!state) {
            return DefWindowProcW(window, message, first, second);
        }
        switch (message) {
        case WM_QUERYENDSESSION:
            // shown to the user if shut-down takes longer than the system expects
            ShutdownBlockReasonCreate(window, L"Control loops are being taken to their disabled values");
            return TRUE;
        case WM_ENDSESSION:
            if (!first) {
                ShutdownBlockReasonDestroy(window); // another program refused the shut-down
                return 0;
            }
            state->request();
            {
                const std::lock_guard<std::mutex> lock(state->mutex);
                state->waits = true;
                state->changed.notify_all();
            }
            // the system may end the process as soon as this returns: wait for the end of the process instead
            Sleep(INFINITE);
            return 0;
        case WM_CLOSE: // sent by taskkill, for example
            state->request();
            return 0;
        case WM_DESTROY: // also when the window's desktop is destroyed
        case goMessage:
            PostQuitMessage(0);
            return 0;
        default:
            return DefWindowProcW(window, message, first, second);
        }
    }

    const std::shared_ptr<SState> state_;
    std::thread thread_;
};

} // namespace

struct CTerminationSignals::Private
{
    boost::asio::io_context& context;
    std::function<void()> call;
    std::unique_ptr<CSessionWindow> window;

    /// The present object, or null. Read by the console handler, which the system calls on a thread of its
    /// own.
    static inline Private* current = nullptr;
    static inline std::mutex mutex;
    /// Whether there has been an object.
    static inline std::atomic<bool> hasExisted{false};

    static void handleConsoleEvents()
    {
        // Never removed: the system holds its lock on the handlers while one of them runs, so removing this
        // one would wait for a handler that waits for the end of the process.
        [[maybe_unused]] static const BOOL handles = SetConsoleCtrlHandler(&Private::onConsoleEvent, TRUE);
    }

    static void request()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (current) {
            boost::asio::post(current->context, current->call);
        }
    }

    static BOOL WINAPI onConsoleEvent(DWORD event)
    {
        if (!hasExisted) {
            TerminateProcess(GetCurrentProcess(), STATUS_CONTROL_C_EXIT);
        }
        request();
        if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
            // returning would end the process at once: wait for the end of the process instead
            Sleep(INFINITE);
        }
        return TRUE;
    }
};

CTerminationSignals::CTerminationSignals(boost::asio::io_context& context, std::function<void()> end,
                                         std::function<void()>)
    : private_(new Private{context, std::move(end), nullptr})
{
    {
        const std::lock_guard<std::mutex> lock(Private::mutex);
        Private::current = private_.get();
    }
    Private::hasExisted = true;
    Private::handleConsoleEvents();
    private_->window = std::make_unique<CSessionWindow>(&Private::request);
}

void CTerminationSignals::endProcessBeforeFirst()
{
    Private::handleConsoleEvents();
}

void CTerminationSignals::stopProcess() {}

CTerminationSignals::~CTerminationSignals()
{
    {
        const std::lock_guard<std::mutex> lock(Private::mutex);
        Private::current = nullptr;
    }
    private_->window.reset(); // after `current`, which its thread may be about to use
}

} // namespace Rvl
