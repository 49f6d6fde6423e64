#pragma once

#include "Tovo/Support/BackgroundApplicationLookup.hpp"
#include "Tovo/Support/LaunchOptions.hpp"
#include "Tovo/Support/ProcessPresentation.hpp"
#include "Tovo/Support/Qt/QtMainExecutor.hpp"
#include "Tovo/Support/ServiceGraph.hpp"
#include "Tovo/Support/WriteOutWatch.hpp"
#include "TovoCore/Async/Clock.hpp"
#include "TovoCore/Services/Logger.hpp"
#include "TovoCore/Workflow/TovoWorkflow.hpp"

#include <functional>
#include <memory>
#include <optional>

class QApplication;

namespace tovo {

class MainWindow;
class MountChangeWatcher;

/// Parts a test or a tool replaces; each absent one takes the application's own.
struct TovoAppOverrides {
    std::function<std::unique_ptr<Clock>(Executor&)> makeClock;
    std::function<ServiceGraph(Executor&)> makeServices;
    Logger* logger = nullptr;
    bool watchMounts = true;
    /// Absent: as the environment asks (TOVO_REDUCE_MOTION).
    std::optional<bool> reduceMotion;
};

/// The application: the switches read once, the service graph they choose, the one
/// workflow on the Qt main executor, and the window that shows it.
class TovoApp {
public:
    using Overrides = TovoAppOverrides;

    explicit TovoApp(LaunchOptions options, Overrides overrides = {});
    ~TovoApp();
    TovoApp(const TovoApp&) = delete;
    TovoApp& operator=(const TovoApp&) = delete;

    /// Style, forced appearance and icon lookup for the whole application.
    static void prepareApplication(QApplication& application, const LaunchOptions& options);

    const LaunchOptions& options() const { return options_; }
    Executor& mainExecutor() { return executor_; }
    Clock& clock() { return *clock_; }
    TovoWorkflow& workflow() { return *workflow_; }
    MainWindow& window() { return *window_; }

    /// Shows the window and brings it to the front; its first appearance refreshes.
    void show();

private:
    LaunchOptions options_;
    QtMainExecutor executor_;
    std::unique_ptr<Logger> ownLogger_;
    Logger* logger_;
    std::unique_ptr<Clock> clock_;
    ServiceGraph services_;
    std::unique_ptr<TovoWorkflow> workflow_;
    std::unique_ptr<BackgroundApplicationLookup> applications_; ///< absent in demo mode
    ProcessPresentation presentation_;
    std::unique_ptr<WriteOutWatch> writeOutWatch_; ///< absent without a monitor
    std::unique_ptr<MainWindow> window_;
    std::unique_ptr<MountChangeWatcher> watcher_;
};

} // namespace tovo
