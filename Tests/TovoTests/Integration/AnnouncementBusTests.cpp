// A phase sentence of the window, heard through the real accessibility stack: an X
// server, a private session bus, the AT-SPI bus and registry, a listener written with
// the screen readers' own library, and the window with Qt's AT-SPI bridge on.

#include "TovoSystemTests/Integration/UDisks2TestSupport.hpp"
#include "TovoTests/Gui/GuiHarness.hpp"

#include <QDBusConnection>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sys/prctl.h>

namespace tovo::testing {
namespace {

constexpr const char* python = "/usr/bin/python3";
constexpr const char* accessibilityBus = "/usr/libexec/at-spi-bus-launcher";

// Prints one JSON line per event a screen reader would get for a live region.
constexpr const char* listenerScript = R"(
import json, sys, pyatspi
from gi.repository import GLib
def heard(event):
    source = event.source
    found = (source.get_attributes() if source else None) or {}
    if isinstance(found, list):
        found = dict(item.split(":", 1) for item in found if ":" in item)
    print(json.dumps({"type": event.type, "data": str(event.any_data), "attributes": found,
                      "parent": source.parent.name if source and source.parent else None}),
          flush=True)
pyatspi.Registry.registerEventListener(heard, "object:text-changed:insert", "object:announcement")
print("ready", flush=True)
GLib.timeout_add_seconds(int(sys.argv[1]), pyatspi.Registry.stop)
pyatspi.Registry.start()
)";

bool hasTools() {
    return std::ranges::all_of(std::initializer_list{python, "/usr/bin/Xvfb",
                                                     "/usr/bin/dbus-daemon", accessibilityBus},
                               [](const char* tool) { return ::access(tool, X_OK) == 0; }) &&
           std::system("/usr/bin/python3 -c 'import pyatspi' >/dev/null 2>&1") == 0;
}

/// Whether a line of `file` holds every one of `parts`.
bool hasLineWith(const std::filesystem::path& file, std::initializer_list<std::string> parts) {
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        if (std::ranges::all_of(parts,
                                [&](const auto& part) { return line.find(part) != line.npos; })) {
            return true;
        }
    }
    return false;
}

TEST(AccessibilityBus, APhaseSentenceReachesAListenerAsLiveRegionTextAndAnnouncement) {
    if (!hasTools()) {
        GTEST_SKIP() << "needs Xvfb, dbus-daemon, at-spi2-core and python3-pyatspi";
    }
    // The accessibility bus's own daemons outlive their launcher for a moment: they
    // become this process's children, to be reaped here rather than left as zombies.
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    {
        TemporaryFolder temporary;
        const auto& folder = temporary.path();
        const VirtualDisplay display(folder / "display");
        ASSERT_FALSE(display.name().empty());
        const PrivateBus sessionBus(folder);
        // The listener and the window find the accessibility bus through the session
        // bus; the children take these from this process.
        ::setenv("DISPLAY", display.name().c_str(), 1);
        ::setenv("DBUS_SESSION_BUS_ADDRESS", sessionBus.address().c_str(), 1);
        ::unsetenv("AT_SPI_BUS_ADDRESS");
        ::setenv("QT_QPA_PLATFORM", "xcb", 1);
        ::setenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1", 1);
        TestChild bus({accessibilityBus, "--launch-immediately"},
                      {.folder = folder, .stopSignal = SIGTERM});
        writeText(folder / "listener.py", listenerScript);
        const auto heard = folder / "heard";
        TestChild listener({python, (folder / "listener.py").string(), "60"},
                           {.folder = folder, .output = heard, .stopSignal = SIGTERM});
        ASSERT_TRUE(
            eventually([&] { return hasLineWith(heard, {"ready"}); }, std::chrono::seconds(20)))
            << readText(heard).value_or("");
        {
            WindowHarness harness(DemoScenarioKind::ready);
            harness.showAndList();
            // Qt's bridge joins the accessibility bus a moment after the window opens.
            ASSERT_TRUE(QTest::qWaitFor(
                [] { return QDBusConnection(QStringLiteral("a11y")).isConnected(); }, 20000));
            harness.click(harness.actionBar().primaryButton());
            ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ejected>());
            // Heard as a polite live region's new text and, by readers that take it, as
            // AT-SPI's announcement.
            const std::string said = "\"data\": \"345-BACKUP ejected safely.\"";
            EXPECT_TRUE(QTest::qWaitFor(
                [&] {
                    return hasLineWith(heard, {"\"object:text-changed:insert\"", said,
                                               "\"container-live\": \"polite\"",
                                               "\"parent\": \"Status\""}) &&
                           hasLineWith(heard, {"\"object:announcement\"", said});
                },
                20000))
                << readText(heard).value_or("");
        }
        // The X server goes before the test ends: the application must not outlive it.
        delete QCoreApplication::instance();
    }
    EXPECT_TRUE(eventually([] { return ::waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD; }));
}

} // namespace
} // namespace tovo::testing
