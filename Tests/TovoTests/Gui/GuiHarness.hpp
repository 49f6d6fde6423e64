#pragma once

#include "Tovo/App/MainWindow.hpp"
#include "Tovo/App/TovoApp.hpp"
#include "Tovo/Views/ActionBar.hpp"
#include "Tovo/Views/BlockedStatusView.hpp"
#include "Tovo/Views/ContentView.hpp"
#include "Tovo/Views/DisclosureButton.hpp"
#include "Tovo/Views/DiskCard.hpp"
#include "Tovo/Views/DiskSelectorView.hpp"
#include "Tovo/Views/HeaderView.hpp"
#include "Tovo/Views/StatusPanel.hpp"
#include "TovoCore/Async/Clock.hpp"
#include "TovoCore/Services/Logger.hpp"

#include <QApplication>
#include <QElapsedTimer>
#include <QPushButton>
#include <QTest>
#include <QToolButton>
#include <gtest/gtest.h>

#include <vector>

namespace tovo::testing {

/// The one QApplication of the test process (offscreen unless the test chose a
/// platform and made one), styled as the app is.
inline QApplication& guiApplication() {
    static int argc = 1;
    static char name[] = "TovoGuiTests";
    static char* argv[] = {name, nullptr};
    static QApplication* application = [] {
        auto* existing = qobject_cast<QApplication*>(QCoreApplication::instance());
        auto* created = existing != nullptr ? existing : new QApplication(argc, argv);
        TovoApp::prepareApplication(*created, {});
        return created;
    }();
    return *application;
}

/// A whole Tovo window over demo services (or others) with test time: the workflow's
/// settle and release waits pass only when the harness advances its virtual clock.
class WindowHarness {
public:
    explicit WindowHarness(std::optional<DemoScenarioKind> scenario,
                           std::function<ServiceGraph(Executor&)> makeServices = {},
                           bool reduceMotion = true) {
        guiApplication();
        TovoAppOverrides overrides;
        overrides.makeClock = [this](Executor& executor) {
            auto clock = std::make_unique<VirtualClock>(executor);
            clock_ = clock.get();
            return clock;
        };
        overrides.makeServices = std::move(makeServices);
        overrides.logger = &logger_;
        overrides.watchMounts = false;
        overrides.reduceMotion = reduceMotion;
        app_ =
            std::make_unique<TovoApp>(LaunchOptions{scenario, std::nullopt}, std::move(overrides));
    }

    /// Shows the window and waits for the first refresh to list the disks.
    void showAndList(std::size_t expectedDisks = 1) {
        app_->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&window()));
        // Until the cards are drawn: they are shown by the event loop after the listing.
        EXPECT_TRUE(runUntil([&] {
            const auto& cards = content().diskSelector()->cards();
            return workflow().disks().size() == expectedDisks && cards.size() == expectedDisks &&
                   (cards.empty() || cards.back()->isVisible());
        }));
    }

    /// Runs the event loop (and, when allowed, virtual time) until `done` holds;
    /// bounded, since the demo's scenario answers from a worker thread.
    bool runUntil(const std::function<bool()>& done, bool advanceTime = true) {
        QElapsedTimer elapsed;
        elapsed.start();
        while (!done()) {
            if (elapsed.elapsed() > 5000) {
                return false;
            }
            QCoreApplication::processEvents(QEventLoop::AllEvents);
            if (advanceTime && clock_->sleeperCount() > 0) {
                clock_->advanceToNextDeadline();
            }
            QTest::qWait(1);
        }
        // A redraw is queued after the change, and newly laid out widgets are shown
        // after that: let both land.
        for (int pass = 0; pass < 3; ++pass) {
            QCoreApplication::processEvents(QEventLoop::AllEvents);
        }
        return true;
    }

    /// Lets queued redraws and layouts land.
    void settle() {
        runUntil([] { return true; });
    }

    template<class Case>
    bool runUntilPhase(bool advanceTime = true) {
        return runUntil([&] { return workflow().phase().template is<Case>(); }, advanceTime);
    }

    /// Ejects the listed disk and waits for what holds it.
    void ejectUntilBlocked() {
        click(actionBar().primaryButton());
        ASSERT_TRUE(runUntilPhase<EjectionPhase::Blocked>());
    }

    void click(QAbstractButton* button) {
        ASSERT_NE(button, nullptr);
        ASSERT_TRUE(button->isVisible());
        ASSERT_TRUE(button->isEnabled());
        QTest::mouseClick(button, Qt::LeftButton);
    }

    TovoApp& app() { return *app_; }
    TovoWorkflow& workflow() { return app_->workflow(); }
    MainWindow& window() { return app_->window(); }
    ContentView& content() { return *window().contentView(); }
    ActionBar& actionBar() { return *content().actionBar(); }
    StatusPanel& statusPanel() { return *content().statusPanel(); }
    VirtualClock& clock() { return *clock_; }

    std::vector<BlockingProcessRow*> rows() {
        BlockedStatusView* blocked = statusPanel().blockedView();
        return blocked == nullptr ? std::vector<BlockingProcessRow*>{} : blocked->rows();
    }

private:
    NullLogger logger_;
    VirtualClock* clock_ = nullptr;
    std::unique_ptr<TovoApp> app_;
};

/// Key presses reach shortcuts only in the active window. (Offscreen, a sheet's
/// focus is its own focus widget; the application's stays with the window behind.)
inline void activate(QWidget& window) {
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
}

/// Collects what the window says to assistive technology. Each sentence is also
/// checked to be the live region's text when it is raised. (Qt's offscreen platform
/// has no accessibility bus, so the announcer's own signal is the tap; the bus itself
/// is tested with a real listener among the integration tests.)
class AnnouncementRecorder : public QObject {
public:
    explicit AnnouncementRecorder(ContentView& content) {
        QObject::connect(&content.announcer(), &PhaseAnnouncer::announced, this,
                         [this, &content](const QString& text) {
                             sentences.push_back(text.toStdString());
                             EXPECT_EQ(content.announcer().liveRegion().text(), text);
                         });
    }

    std::vector<std::string> sentences;
};

} // namespace tovo::testing
