#pragma once

#include "TovoSystem/Services/CommandRunning.hpp"

#include <deque>
#include <functional>

namespace tovo::testing {

/// A runner that records every command and answers with scripted results or errors,
/// in order; an unscripted call answers status 1 with nothing written. Called on a
/// worker thread; read `calls` once the task that ran it has ended.
class FakeCommandRunner final : public CommandRunning {
public:
    struct Call {
        std::filesystem::path executable;
        std::vector<std::string> arguments;
    };

    std::vector<Call> calls;
    std::deque<std::function<CommandResult()>> answers;

    void answer(CommandResult result) {
        answers.emplace_back([result] { return result; });
    }
    template<class E>
    void fail(E error) {
        answers.emplace_back([error]() -> CommandResult { throw error; });
    }

    CommandResult runSynchronously(std::filesystem::path executable,
                                   std::vector<std::string> arguments, std::stop_token) override {
        calls.push_back({std::move(executable), std::move(arguments)});
        auto next = answers.empty() ? [] { return CommandResult{1, "", ""}; } : answers.front();
        if (!answers.empty()) {
            answers.pop_front();
        }
        return next();
    }
};

} // namespace tovo::testing
