#pragma once

#include "Support/ModelBuilders.hpp"
#include "Tovo/Support/SymbolIcons.hpp"
#include "TovoCore/Models/EjectionState.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tovo::testing {

inline ProcessReleasePlan quitPlan(std::int32_t pid, std::string message = "Tovo will ask.") {
    return ProcessReleasePlan{pid, "app", ReleaseStrategy::quitApplication, std::move(message)};
}

inline ProcessReleasePlan manualPlan(std::int32_t pid, std::string message = "Close it.") {
    return ProcessReleasePlan{pid, "app", ReleaseStrategy::manualAction, std::move(message)};
}

inline ReleaseAttempt attempt(std::int32_t pid, ReleaseDisposition disposition,
                              std::string message = "outcome") {
    return ReleaseAttempt{Uuid::random(), pid, "app", disposition, std::move(message)};
}

inline ProcessStopPlan stopPlan(std::int32_t pid, StopMethod method) {
    return ProcessStopPlan{pid, "app", method, "Tovo will stop it.", std::nullopt};
}

inline OpenFileReference openFile(std::string path, std::optional<std::string> descriptor,
                                  OpenAccess access) {
    return OpenFileReference{std::move(path), std::move(descriptor), "REG", access};
}

inline BlockingProcess processWith(std::string command, std::vector<OpenFileReference> files) {
    auto process = makeProcess(4242, std::move(command));
    process.openFiles = std::move(files);
    return process;
}

/// Every symbol a screen shows must map to an icon of the theme.
inline void expectThemeIcon(const std::optional<std::string>& symbol) {
    EXPECT_TRUE(!symbol || hasThemeIcon(*symbol)) << *symbol;
}

} // namespace tovo::testing
