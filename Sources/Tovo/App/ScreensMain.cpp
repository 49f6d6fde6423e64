// Renders the window in every demo phase, light and dark, to PNG files for a person
// to look at: TovoScreens OUTPUT_FOLDER (scripts/screens runs it under Xvfb).

#include "Tovo/App/MainWindow.hpp"
#include "Tovo/App/TovoApp.hpp"
#include "Tovo/Support/CrowdedSample.hpp"
#include "Tovo/Views/ActionBar.hpp"
#include "Tovo/Views/BlockedStatusView.hpp"
#include "Tovo/Views/DisclosureButton.hpp"
#include "Tovo/Views/SheetEntry.hpp"
#include "Tovo/Views/StatusPanel.hpp"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>
#include <QThread>
#include <QToolButton>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>

namespace tovo {
namespace {

/// An ejector whose drive refuses for a reason that is not "busy".
class RefusingEjector final : public DiskEjecting {
public:
    Task<void> eject(ExternalDisk) override {
        throw EjectionFailure("The drive did not answer the power-off request.", std::nullopt,
                              EjectionFailureKind::other, std::nullopt, std::nullopt);
        co_return;
    }
};

class NoDisks final : public VolumeProviding {
public:
    Task<std::vector<ExternalDisk>> mountedExternalDisks() override {
        co_return std::vector<ExternalDisk>{};
    }
};

/// One window over demo services with time that moves only when asked.
class Session {
public:
    Session(QString folder, QString prefix, std::optional<DemoScenarioKind> scenario,
            std::function<ServiceGraph(Executor&)> makeServices = {})
        : folder_(std::move(folder))
        , prefix_(std::move(prefix)) {
        TovoAppOverrides overrides;
        overrides.makeClock = [this](Executor& executor) {
            auto clock = std::make_unique<VirtualClock>(executor);
            clock_ = clock.get();
            return clock;
        };
        overrides.makeServices = std::move(makeServices);
        overrides.logger = &logger_;
        overrides.watchMounts = false;
        overrides.reduceMotion = true;
        app_ =
            std::make_unique<TovoApp>(LaunchOptions{scenario, std::nullopt}, std::move(overrides));
        app_->show();
    }

    bool runUntil(const std::function<bool()>& done, bool advanceTime = true) {
        QElapsedTimer elapsed;
        elapsed.start();
        while (!done()) {
            if (elapsed.elapsed() > 10000) {
                std::fprintf(stderr, "timed out in %s\n", qPrintable(prefix_));
                return false;
            }
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
            if (advanceTime && clock_->sleeperCount() > 0) {
                clock_->advanceToNextDeadline();
            }
            QThread::msleep(1);
        }
        settle();
        return true;
    }

    template<class Case>
    bool reach(bool advanceTime = true) {
        return runUntil([&] { return workflow().phase().template is<Case>(); }, advanceTime);
    }

    void settle() {
        for (int pass = 0; pass < 4; ++pass) {
            QCoreApplication::processEvents(QEventLoop::AllEvents);
        }
    }

    TovoWorkflow& workflow() { return app_->workflow(); }
    MainWindow& window() { return app_->window(); }
    ContentView& content() { return *window().contentView(); }

    void expandRows() {
        if (BlockedStatusView* blocked = content().statusPanel()->blockedView()) {
            for (BlockingProcessRow* row : blocked->rows()) {
                row->setExpanded(true);
            }
        }
        settle();
    }

    /// Grows the window to show its content, within the window's bounds.
    void fitToContent() {
        QWidget* column = content().scrollArea()->widget();
        const int wanted = column->sizeHint().height();
        const int menu = window().height() - content().height();
        window().resize(window().width(), std::clamp(wanted, 500, 720) + menu);
        settle();
    }

    void save(const QString& phase) {
        fitToContent();
        write(window().grab(), phase);
    }

    /// As the window is now, before any queued work runs: the first frame.
    void saveFirstFrame(const QString& phase) {
        for (int pass = 0; pass < 4; ++pass) {
            QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
        }
        write(window().grab(), phase);
    }

    /// Made far larger than its content allows, as a window manager may maximise it.
    void saveEnlarged(const QString& phase) {
        window().setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
        window().resize(1000, 760);
        settle();
        write(window().grab(), phase);
    }

    /// Opens every row of the open review.
    void expandReview() {
        for (SheetEntry* entry : content().tovoConfirmation()->entries()) {
            if (entry->disclosureButton() != nullptr) {
                entry->disclosureButton()->click();
            }
        }
        settle();
    }

    /// The window dimmed behind the sheet, the sheet at the top as it opens.
    void saveSheet(QDialog* sheet, const QString& phase) {
        fitToContent();
        sheet->adjustSize();
        settle();
        const QPixmap behind = window().grab();
        const QPixmap card = sheet->grab();
        // A sheet taller than the window hangs below it, as it would on the screen.
        const qreal ratio = behind.devicePixelRatio();
        QPixmap composed(behind.width(),
                         std::max(behind.height(), static_cast<int>((card.height() + 44) * ratio)));
        composed.setDevicePixelRatio(ratio);
        composed.fill(QColor(128, 128, 128));
        QPainter painter(&composed);
        painter.drawPixmap(0, 0, behind);
        painter.fillRect(composed.rect(), QColor(0, 0, 0, 70));
        const QPoint at((composed.width() / composed.devicePixelRatio() - card.width()) / 2, 34);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        for (int blur = 8; blur > 0; blur -= 2) {
            painter.setBrush(QColor(0, 0, 0, 10));
            painter.drawRoundedRect(
                QRect(at, card.size()).adjusted(-blur, -blur + 4, blur, blur + 4), 12, 12);
        }
        painter.drawPixmap(at, card);
        painter.setPen(QColor(0, 0, 0, 60));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(QRect(at, card.size()).adjusted(0, 0, -1, -1));
        painter.end();
        write(composed, phase);
    }

private:
    void write(const QPixmap& pixmap, const QString& phase) {
        const QString path = folder_ + QStringLiteral("/") + prefix_ + QStringLiteral("-") + phase +
                             QStringLiteral(".png");
        if (pixmap.save(path)) {
            std::printf("%s\n", qPrintable(path));
        } else {
            std::fprintf(stderr, "could not write %s\n", qPrintable(path));
        }
    }

    QString folder_;
    QString prefix_;
    NullLogger logger_;
    VirtualClock* clock_ = nullptr;
    std::unique_ptr<TovoApp> app_;
};

void click(QAbstractButton* button) {
    if (button != nullptr && button->isEnabled()) {
        button->click();
    }
}

void tovoable(const QString& folder, const QString& appearance) {
    Session session(folder, appearance + QStringLiteral("-tovoable"), DemoScenarioKind::tovoable);
    session.runUntil([&] { return !session.workflow().disks().empty(); });
    session.save(QStringLiteral("1-ready"));
    click(session.content().actionBar()->primaryButton());
    session.reach<EjectionPhase::Blocked>();
    session.expandRows();
    session.save(QStringLiteral("2-blocked"));
    session.content().openTovoConfirmation();
    session.settle();
    session.saveSheet(session.content().tovoConfirmation(), QStringLiteral("3-review"));
    session.content().tovoConfirmation()->reject();
    session.settle();
    session.content().requestStop(session.workflow().blockers().front());
    session.settle();
    session.saveSheet(session.content().stopConfirmation(), QStringLiteral("4-stop-sheet"));
    session.content().stopConfirmation()->reject();
    session.content().openTovoConfirmation();
    session.settle();
    click(session.content().tovoConfirmation()->confirmButton());
    session.runUntil(
        [&] {
            return session.workflow().phase().is<EjectionPhase::Releasing>() &&
                   !session.workflow().releaseAttempts().empty();
        },
        false);
    session.save(QStringLiteral("5-releasing"));
    session.reach<EjectionPhase::Ejected>();
    session.save(QStringLiteral("6-ejected"));
}

void blocked(const QString& folder, const QString& appearance) {
    Session session(folder, appearance + QStringLiteral("-blocked"), DemoScenarioKind::blocked);
    session.runUntil([&] { return !session.workflow().disks().empty(); });
    click(session.content().actionBar()->primaryButton());
    session.reach<EjectionPhase::Blocked>();
    session.expandRows();
    session.save(QStringLiteral("1-blocked"));
    session.content().openTovoConfirmation();
    session.settle();
    session.saveSheet(session.content().tovoConfirmation(), QStringLiteral("2-review"));
    session.content().tovoConfirmation()->reject();
    session.content().requestStop(session.workflow().blockers().front());
    session.settle();
    session.saveSheet(session.content().stopConfirmation(), QStringLiteral("3-stop-sheet"));
    click(session.content().stopConfirmation()->confirmButton());
    session.runUntil(
        [&] {
            return session.workflow().phase().is<EjectionPhase::Stopping>() &&
                   !session.workflow().releaseAttempts().empty();
        },
        false);
    session.save(QStringLiteral("4-stopping"));
    session.reach<EjectionPhase::Ejected>();
    session.save(QStringLiteral("5-ejected"));
}

void ready(const QString& folder, const QString& appearance) {
    Session session(folder, appearance + QStringLiteral("-ready"), DemoScenarioKind::ready);
    session.saveFirstFrame(QStringLiteral("0-looking"));
    session.runUntil([&] { return !session.workflow().disks().empty(); });
    session.save(QStringLiteral("1-ready"));
    click(session.content().actionBar()->primaryButton());
    session.reach<EjectionPhase::Ejected>();
    session.save(QStringLiteral("2-ejected"));
}

void layered(const QString& folder, const QString& appearance) {
    Session session(folder, appearance + QStringLiteral("-layered"), DemoScenarioKind::layered);
    session.runUntil([&] { return !session.workflow().disks().empty(); });
    click(session.content().actionBar()->primaryButton());
    session.reach<EjectionPhase::Blocked>();
    session.save(QStringLiteral("1-blocked"));
    session.content().openTovoConfirmation();
    session.settle();
    session.saveSheet(session.content().tovoConfirmation(), QStringLiteral("2-review"));
    click(session.content().tovoConfirmation()->confirmButton());
    session.reach<EjectionPhase::Ejected>();
    session.save(QStringLiteral("3-ejected"));
}

void failure(const QString& folder, const QString& appearance) {
    Session session(
        folder, appearance + QStringLiteral("-failure"), std::nullopt, [](Executor& executor) {
            ServiceGraph graph = makeDemoServiceGraph(DemoScenarioKind::ready, executor);
            graph.ejector = std::make_shared<RefusingEjector>();
            return graph;
        });
    session.runUntil([&] { return !session.workflow().disks().empty(); });
    click(session.content().actionBar()->primaryButton());
    session.reach<EjectionPhase::Failed>();
    session.save(QStringLiteral("1-failed"));
}

void empty(const QString& folder, const QString& appearance) {
    Session session(
        folder, appearance + QStringLiteral("-empty"), std::nullopt, [](Executor& executor) {
            ServiceGraph graph = makeDemoServiceGraph(DemoScenarioKind::ready, executor);
            graph.volumeProvider = std::make_shared<NoDisks>();
            return graph;
        });
    session.runUntil([&] {
        const auto& shown = session.content().statusPanel()->content();
        return shown.has_value() && shown->kind == StatusViewKind::emptyDisks;
    });
    session.settle();
    session.save(QStringLiteral("1-no-disks"));
}

// A 66-character name without a space, four holders of different kinds, paths lsof
// escaped; the review with every row open; the window enlarged past its bounds.
void crowded(const QString& folder, const QString& appearance) {
    Session session(folder, appearance + QStringLiteral("-crowded"), std::nullopt,
                    CrowdedSample::serviceGraph);
    session.runUntil([&] { return !session.workflow().disks().empty(); });
    session.save(QStringLiteral("1-ready"));
    click(session.content().actionBar()->primaryButton());
    session.reach<EjectionPhase::Blocked>();
    session.expandRows();
    session.save(QStringLiteral("2-blocked"));
    session.content().openTovoConfirmation();
    session.settle();
    session.saveSheet(session.content().tovoConfirmation(), QStringLiteral("3-review"));
    session.expandReview();
    session.saveSheet(session.content().tovoConfirmation(), QStringLiteral("4-review-open"));
    session.content().tovoConfirmation()->reject();
    session.settle();
    session.content().requestStop(session.workflow().blockers().front());
    session.settle();
    session.saveSheet(session.content().stopConfirmation(), QStringLiteral("5-stop-sheet"));
    session.content().stopConfirmation()->reject();
    session.settle();
    session.saveEnlarged(QStringLiteral("6-enlarged"));
}

} // namespace
} // namespace tovo

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    const QString folder =
        argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("build/screens");
    QDir().mkpath(folder);
    for (const tovo::AppearanceOverride appearance :
         {tovo::AppearanceOverride::light, tovo::AppearanceOverride::dark}) {
        tovo::TovoApp::prepareApplication(application, {std::nullopt, appearance});
        const QString name = appearance == tovo::AppearanceOverride::light ? QStringLiteral("light")
                                                                           : QStringLiteral("dark");
        tovo::tovoable(folder, name);
        tovo::blocked(folder, name);
        tovo::ready(folder, name);
        tovo::layered(folder, name);
        tovo::failure(folder, name);
        tovo::empty(folder, name);
        tovo::crowded(folder, name);
    }
    return 0;
}
