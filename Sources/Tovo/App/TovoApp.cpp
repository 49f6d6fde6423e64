#include "Tovo/App/TovoApp.hpp"

#include "Tovo/App/MainWindow.hpp"
#include "Tovo/Support/Qt/MountChangeWatcher.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Support/Qt/TovoStyle.hpp"
#include "TovoSystem/Linux/JournalLogger.hpp"

#include <QApplication>
#include <QIcon>

namespace tovo {

namespace {

ServiceGraph servicesFor(const LaunchOptions& options, Executor& executor) {
    if (options.demoScenario) {
        return makeDemoServiceGraph(*options.demoScenario, executor);
    }
    return makeSystemServiceGraph(executor);
}

} // namespace

TovoApp::TovoApp(LaunchOptions options, Overrides overrides)
    : options_(std::move(options))
    , ownLogger_(overrides.logger == nullptr ? std::make_unique<JournalLogger>() : nullptr)
    , logger_(overrides.logger == nullptr ? ownLogger_.get() : overrides.logger)
    , clock_(overrides.makeClock ? overrides.makeClock(executor_)
                                 : std::make_unique<RealClock>(executor_))
    , services_(overrides.makeServices ? overrides.makeServices(executor_)
                                       : servicesFor(options_, executor_))
    , workflow_(std::make_unique<TovoWorkflow>(
          services_.volumeProvider, services_.ejector, services_.diagnoser, services_.releaser,
          services_.stopper, services_.settleDelayNanoseconds, services_.releaseTimeoutNanoseconds,
          *clock_, *logger_, executor_))
    , applications_(services_.registry ? std::make_unique<BackgroundApplicationLookup>(
                                             services_.registry, executor_)
                                       : nullptr)
    , presentation_(applications_.get(), ProcessPresentation::Names::readable)
    , writeOutWatch_(services_.writeOutMonitor ? std::make_unique<WriteOutWatch>(
                                                     *services_.writeOutMonitor, *clock_, executor_)
                                               : nullptr)
    , window_(std::make_unique<MainWindow>(ContentView::Environment{
          *workflow_, executor_, presentation_, applications_.get(), *logger_,
          overrides.reduceMotion.value_or(ContentView::reduceMotionRequested()),
          writeOutWatch_.get(), options_.isDemo()})) {
    if (writeOutWatch_) {
        writeOutWatch_->setChangeHandler(
            [bridge = &window_->contentView()->bridge()] { bridge->requestRedraw(); });
    }
    workflow_->setBusyCauseFinder(services_.causeFinder);
    if (applications_) {
        // New blockers may be new processes under old pids: look their apps up again.
        workflow_->addObserver([lookup = applications_.get()](WorkflowProperty property) {
            if (property == WorkflowProperty::blockers) {
                lookup->invalidate();
            }
        });
        applications_->setChangeHandler(
            [bridge = &window_->contentView()->bridge()] { bridge->requestRedraw(); });
    }
    if (overrides.watchMounts) {
        watcher_ = std::make_unique<MountChangeWatcher>();
        QObject::connect(watcher_.get(), &MountChangeWatcher::changed, window_->contentView(),
                         &ContentView::refresh);
    }
}

TovoApp::~TovoApp() {
    // The window and its sheets go first: they point into the workflow.
    if (applications_) {
        applications_->setChangeHandler(nullptr);
    }
    if (writeOutWatch_) {
        writeOutWatch_->setChangeHandler(nullptr);
    }
    watcher_.reset();
    window_.reset();
}

void TovoApp::prepareApplication(QApplication& application, const LaunchOptions& options) {
    QApplication::setApplicationName(QStringLiteral("Tovo"));
    QApplication::setApplicationDisplayName(QStringLiteral("Tovo"));
    QGuiApplication::setDesktopFileName(QString::fromUtf8(tovoApplicationID));
    QApplication::setStyle(new TovoStyle);
    if (options.appearance == AppearanceOverride::light) {
        QApplication::setPalette(TovoTheme::lightPalette());
    } else if (options.appearance == AppearanceOverride::dark) {
        QApplication::setPalette(TovoTheme::darkPalette());
    }
    // Qt finds no theme icons unless told where to look.
    QStringList paths = QIcon::themeSearchPaths();
    if (!paths.contains(QStringLiteral("/usr/share/icons"))) {
        paths.append(QStringLiteral("/usr/share/icons"));
    }
    QIcon::setThemeSearchPaths(paths);
    QIcon::setFallbackThemeName(QStringLiteral("Adwaita"));
    if (QIcon::themeName().isEmpty() || QIcon::themeName() == QStringLiteral("hicolor")) {
        QIcon::setThemeName(QStringLiteral("Adwaita"));
    }
    application.setQuitOnLastWindowClosed(true);
}

void TovoApp::show() {
    window_->resizeToDefault();
    window_->show();
    window_->raise();
    window_->activateWindow();
}

} // namespace tovo
