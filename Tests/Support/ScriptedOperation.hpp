#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Async/Task.hpp"

#include <memory>
#include <stdexcept>
#include <type_traits>
#include <variant>
#include <vector>

namespace tovo::testing {

/// One asynchronous operation of a test double whose answers, and the moment they
/// arrive, belong to the test. A call is answered at once from the script (queued
/// outcomes first, then the responder); with neither it stays pending until the test
/// resolves or fails it. A pending call whose task is cancelled ends with
/// `CancellationError`, as a real service honouring its stop token would.
template<class T, class Arguments>
class ScriptedOperation {
public:
    using Value = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

    struct Outcome {
        std::optional<Value> value;
        std::exception_ptr error;

        static Outcome success(Value value) { return {std::move(value), nullptr}; }
        static Outcome failure(std::exception_ptr error) { return {std::nullopt, error}; }
        template<class E>
        static Outcome failure(E error) {
            return failure(std::make_exception_ptr(std::move(error)));
        }
    };

    explicit ScriptedOperation(Executor& executor)
        : executor_(executor) {}

    void enqueueValue(Value value) { script_.push_back(Outcome::success(std::move(value))); }
    template<class E>
    void enqueueError(E error) {
        script_.push_back(Outcome::failure(std::move(error)));
    }
    /// Answers every call the queue does not cover; null makes such calls pend.
    void setResponder(std::function<Outcome(const Arguments&)> responder) {
        responder_ = std::move(responder);
    }
    void setValue(Value value) {
        setResponder([value](const Arguments&) { return Outcome::success(value); });
    }

    const std::vector<Arguments>& calls() const { return calls_; }
    std::size_t callCount() const { return calls_.size(); }
    const Arguments& pendingArguments() const { return pendingCall(false)->arguments; }

    /// Answers the oldest pending call; its task resumes when the executor runs.
    void answer(Outcome outcome) { pendingCall(false)->finish(std::move(outcome)); }
    void resolve(Value value = Value{}) { answer(Outcome::success(std::move(value))); }
    template<class E>
    void fail(E error) {
        answer(Outcome::failure(std::move(error)));
    }
    /// Answers the latest pending call first, to let results arrive out of order.
    void resolveNewest(Value value = Value{}) {
        pendingCall(true)->finish(Outcome::success(std::move(value)));
    }

    /// The operation itself, to be returned from the double's interface method.
    Task<T> call(Arguments arguments) {
        calls_.push_back(arguments);
        std::optional<Outcome> outcome;
        if (!script_.empty()) {
            outcome = std::move(script_.front());
            script_.pop_front();
        } else if (responder_) {
            outcome = responder_(arguments);
        }
        if (!outcome) {
            auto pending = std::make_shared<PendingCall>(executor_, std::move(arguments));
            pending_.push_back(pending);
            // A named awaiter: GCC 12 mishandles temporaries in co_await.
            Suspension suspension{pending};
            co_await suspension;
            outcome = std::move(pending->outcome);
        }
        if (outcome->error) {
            std::rethrow_exception(outcome->error);
        }
        if constexpr (!std::is_void_v<T>) {
            co_return std::move(*outcome->value);
        }
    }

private:
    struct PendingCall {
        void finish(Outcome answer) {
            if (finished) {
                return;
            }
            finished = true;
            outcome = std::move(answer);
            executor.post([waiter = waiter] { waiter.resume(); });
        }

        Executor& executor;
        Arguments arguments;
        Outcome outcome;
        bool finished = false;
        std::coroutine_handle<> waiter;
        std::optional<std::stop_callback<std::function<void()>>> onStop;
    };

    struct Suspension {
        std::shared_ptr<PendingCall> pending;
        bool await_ready() const noexcept { return false; }
        template<detail::TovoPromise P>
        void await_suspend(std::coroutine_handle<P> handle) {
            pending->waiter = handle;
            std::weak_ptr<PendingCall> call = pending;
            pending->onStop.emplace(handle.promise().stopToken, std::function<void()>([call] {
                                        if (auto alive = call.lock()) {
                                            alive->finish(Outcome::failure(CancellationError()));
                                        }
                                    }));
        }
        void await_resume() { pending->onStop.reset(); }
    };

    std::shared_ptr<PendingCall> pendingCall(bool newest) const {
        std::shared_ptr<PendingCall> found;
        for (const auto& call : pending_) {
            if (!call->finished && (!found || newest)) {
                found = call;
            }
        }
        if (!found) {
            throw std::logic_error("no pending call");
        }
        return found;
    }

    Executor& executor_;
    std::deque<Outcome> script_;
    std::function<Outcome(const Arguments&)> responder_;
    std::vector<Arguments> calls_;
    std::vector<std::shared_ptr<PendingCall>> pending_;
};

} // namespace tovo::testing
