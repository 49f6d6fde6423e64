#include "TovoSystem/Linux/X11Connection.hpp"

#include <X11/Xlib.h>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <sys/socket.h>
#include <thread>

namespace tovo {

namespace {

std::mutex oneAtATime;
// The connection the handlers below answer for; errors of other connections (the
// application's own) go to the handlers that were there before.
std::atomic<Display*> ours{nullptr};
std::atomic<XErrorHandler> previousErrorHandler{nullptr};
std::atomic<XIOErrorHandler> previousIOErrorHandler{nullptr};

// Xlib's default handler ends the process; a window may vanish while we look at it.
int onError(Display* display, XErrorEvent* event) {
    if (display == ours.load()) {
        return 0;
    }
    const auto previous = previousErrorHandler.load();
    return previous != nullptr ? previous(display, event) : 0;
}

int onIOError(Display* display) {
    if (display == ours.load()) {
        return 0;
    }
    const auto previous = previousIOErrorHandler.load();
    return previous != nullptr ? previous(display) : 0;
}

// Replaces Xlib's exit: the connection is marked dead and every later call fails fast.
void carryOn(Display*, void*) {}

struct Outcome {
    std::mutex mutex;
    std::condition_variable finished;
    bool isFinished = false;
    bool isAbandoned = false;
    int socket = -1; ///< while the work may block on it
    std::optional<std::size_t> value;
};

void runAlone(const std::string& name, const X11Connection::Work& work, Outcome& outcome) {
    std::optional<std::size_t> value;
    {
        const std::lock_guard alone(oneAtATime);
        // May block until a grabbing client lets go; the caller has then given up.
        Display* display = XOpenDisplay(name.c_str());
        if (display != nullptr) {
            XSetIOErrorExitHandler(display, carryOn, nullptr);
            bool proceed = false;
            {
                const std::lock_guard lock(outcome.mutex);
                proceed = !outcome.isAbandoned;
                outcome.socket = proceed ? ConnectionNumber(display) : -1;
            }
            if (proceed) {
                ours = display;
                previousErrorHandler = XSetErrorHandler(onError);
                previousIOErrorHandler = XSetIOErrorHandler(onIOError);
                value = work(display);
            }
            {
                const std::lock_guard lock(outcome.mutex);
                outcome.socket = -1;
            }
            XCloseDisplay(display);
            if (proceed) {
                XSetErrorHandler(previousErrorHandler.load());
                XSetIOErrorHandler(previousIOErrorHandler.load());
                ours = nullptr;
            }
        }
    }
    const std::lock_guard lock(outcome.mutex);
    outcome.value = value;
    outcome.isFinished = true;
    outcome.finished.notify_all();
}

} // namespace

std::optional<std::size_t> X11Connection::run(const std::optional<std::string>& display,
                                              std::chrono::milliseconds deadline, Work work) {
    if (!display || display->empty()) {
        return std::nullopt;
    }
    auto outcome = std::make_shared<Outcome>();
    std::thread([name = *display, work = std::move(work), outcome] {
        runAlone(name, work, *outcome);
    }).detach();
    std::unique_lock lock(outcome->mutex);
    if (outcome->finished.wait_for(lock, deadline, [&] { return outcome->isFinished; })) {
        return outcome->value;
    }
    outcome->isAbandoned = true;
    if (outcome->socket >= 0) {
        // Wakes the blocked read; Xlib then fails every remaining call of the work.
        ::shutdown(outcome->socket, SHUT_RDWR);
    }
    return std::nullopt;
}

} // namespace tovo
