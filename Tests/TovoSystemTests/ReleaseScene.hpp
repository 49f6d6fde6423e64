#pragma once

#include "ProcessTestSupport.hpp"
#include "Support/FakeApplicationRegistry.hpp"
#include "Support/FakeProcessMetadataProvider.hpp"
#include "Support/ModelBuilders.hpp"

namespace tovo::testing {

/// One blocker of the current user whose live metadata matches what was recorded.
struct ReleaseScene {
    static constexpr std::uint32_t userID = 1000;
    static constexpr std::int32_t ownPID = 777;
    static constexpr std::int32_t pid = 4242;

    BlockingProcess process;
    std::shared_ptr<FakeApplicationRegistry> registry = std::make_shared<FakeApplicationRegistry>();
    std::shared_ptr<FakeProcessMetadataProvider> metadata =
        std::make_shared<FakeProcessMetadataProvider>();
    ManualExecutor executor;

    explicit ReleaseScene(const std::string& command)
        : process(makeProcess(pid, command)) {
        metadata->add({pid, 1000, userID, command, "/usr/bin/editor", {1'700'000'000, 250'000}});
    }
    void makeApplication(std::optional<std::string> name = "Editor") {
        registry->add({pid, std::move(name), "org.example.Editor", ActivationPolicy::regular});
    }
    RunningApplication& application() { return registry->applications.at(pid); }
    template<class T>
    T await(Task<T> task) {
        return runToEnd(executor, std::move(task));
    }
};

} // namespace tovo::testing
