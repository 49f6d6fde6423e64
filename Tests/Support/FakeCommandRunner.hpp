#pragma once

#include "TovoSystem/Services/CommandRunning.hpp"

#include <deque>
#include <exception>
#include <variant>

namespace tovo::testing {

/// A runner that records every command and answers with scripted results or errors,
/// in order; an unscripted call answers status 1 with nothing written.
class FakeCommandRunner final : public CommandRunning {
public:
    struct Call {
        std::filesystem::path executable;
        std::vector<std::string> arguments;
    };

    std::vector<Call> calls;
    std::deque<std::variant<CommandResult, std::exception_ptr>> answers;

    void answer(CommandResult result) { answers.emplace_back(std::move(result)); }
    template<class E>
    void fail(E error) {
        answers.emplace_back(std::make_exception_ptr(std::move(error)));
    }

    Task<CommandResult> run(std::filesystem::path executable,
                            std::vector<std::string> arguments) override {
        calls.push_back({std::move(executable), std::move(arguments)});
        if (answers.empty()) {
            co_return CommandResult{1, "", ""};
        }
        auto next = std::move(answers.front());
        answers.pop_front();
        if (auto* error = std::get_if<std::exception_ptr>(&next)) {
            std::rethrow_exception(*error);
        }
        co_return std::get<CommandResult>(std::move(next));
    }
};

} // namespace tovo::testing
