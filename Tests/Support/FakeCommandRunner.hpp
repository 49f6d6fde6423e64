#pragma once

#include "TovoSystem/Services/CommandRunning.hpp"

#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace tovo::testing {

/// A runner that records every command and answers with scripted results or errors:
/// those scripted for the command's last argument (a path) first, then the others in
/// order; an unscripted call answers status 1 with nothing written. Called on worker
/// threads, several at once; read `calls` once the task that ran it has ended.
class FakeCommandRunner final : public CommandRunning {
public:
    struct Call {
        std::filesystem::path executable;
        std::vector<std::string> arguments;
        std::thread::id thread;
    };
    using Answer = std::function<CommandResult()>;

    std::vector<Call> calls;
    std::deque<Answer> answers;
    std::map<std::string, std::deque<Answer>> answersByPath;

    void answer(CommandResult result) {
        answers.emplace_back([result] { return result; });
    }
    void answerFor(const std::string& path, CommandResult result) {
        answersByPath[path].emplace_back([result] { return result; });
    }
    template<class E>
    void fail(E error) {
        answers.emplace_back([error]() -> CommandResult { throw error; });
    }

    CommandResult runSynchronously(std::filesystem::path executable,
                                   std::vector<std::string> arguments, std::stop_token) override {
        Answer next = [] { return CommandResult{1, "", ""}; };
        {
            const std::lock_guard lock(mutex_);
            auto& queue = arguments.empty() ? answers : pick(arguments.back());
            if (!queue.empty()) {
                next = queue.front();
                queue.pop_front();
            }
            calls.push_back(
                {std::move(executable), std::move(arguments), std::this_thread::get_id()});
        }
        return next();
    }

    /// The paths the commands were run on, in no particular order.
    std::vector<std::string> paths() const {
        std::vector<std::string> result;
        for (const auto& call : calls) {
            result.push_back(call.arguments.empty() ? "" : call.arguments.back());
        }
        return result;
    }

private:
    std::deque<Answer>& pick(const std::string& path) {
        const auto found = answersByPath.find(path);
        return found != answersByPath.end() && !found->second.empty() ? found->second : answers;
    }

    std::mutex mutex_;
};

} // namespace tovo::testing
