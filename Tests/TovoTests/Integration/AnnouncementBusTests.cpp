// The window's phase sentences, heard through the real accessibility stack: an X
// server, a private session bus, the AT-SPI bus and registry, a listener written with
// the screen readers' own library, and the window with Qt's AT-SPI bridge on.

#include "TovoSystemTests/ProcessTestSupport.hpp"
#include "TovoTests/Gui/GuiHarness.hpp"

#include <QDBusConnection>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sys/prctl.h>

namespace tovo::testing {
namespace {

constexpr const char* python = "/usr/bin/python3";
constexpr const char* xServer = "/usr/bin/Xvfb";
constexpr const char* busDaemon = "/usr/bin/dbus-daemon";
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
for kind in ("object:text-changed:insert", "object:announcement"):
    pyatspi.Registry.registerEventListener(heard, kind)
print("ready", flush=True)
GLib.timeout_add_seconds(int(sys.argv[1]), pyatspi.Registry.stop)
pyatspi.Registry.start()
)";

bool hasTools() {
    return std::ranges::all_of(std::initializer_list{python, xServer, busDaemon, accessibilityBus},
                               [](const char* tool) { return ::access(tool, X_OK) == 0; }) &&
           std::system("/usr/bin/python3 -c 'import pyatspi' >/dev/null 2>&1") == 0;
}

/// A display number no X server uses now.
int freeDisplay() {
    for (int display = 40 + ::getpid() % 200;; ++display) {
        if (!std::filesystem::exists("/tmp/.X11-unix/X" + std::to_string(display)) &&
            !std::filesystem::exists("/tmp/.X" + std::to_string(display) + "-lock")) {
            return display;
        }
    }
}

/// The lines of `file` that hold every one of `parts`.
std::vector<std::string> linesWith(const std::filesystem::path& file,
                                   std::initializer_list<std::string> parts) {
    std::vector<std::string> found;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        if (std::all_of(parts.begin(), parts.end(),
                        [&](const std::string& part) { return line.find(part) != line.npos; })) {
            found.push_back(line);
        }
    }
    return found;
}

bool processEventsUntil(const std::function<bool()>& done) {
    return eventually(
        [&] {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
            return done();
        },
        std::chrono::seconds(20));
}

void heardEveryPhase(const std::filesystem::path& folder);

TEST(AccessibilityBus, EachPhaseSentenceReachesAListenerAsAPoliteLiveRegion) {
    if (!hasTools()) {
        GTEST_SKIP() << "needs Xvfb, dbus-daemon, at-spi2-core and python3-pyatspi";
    }
    // The accessibility bus's own daemons outlive their launcher for a moment: they
    // become this process's children, to be reaped here rather than left as zombies.
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    {
        TemporaryFolder folder;
        heardEveryPhase(folder.path());
    }
    EXPECT_TRUE(eventually([] { return ::waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD; }));
}

void heardEveryPhase(const std::filesystem::path& folder) {
    const std::string display = ":" + std::to_string(freeDisplay());
    TestChild xserver({xServer, display, "-nolisten", "tcp", "-screen", "0", "1024x768x24"},
                      {{}, folder, "/dev/null", SIGTERM});
    ASSERT_TRUE(eventually(
        [&] { return std::filesystem::exists("/tmp/.X11-unix/X" + display.substr(1)); }));
    const auto busFile = folder / "bus";
    TestChild sessionBus({busDaemon, "--session", "--nofork", "--print-address"},
                         {{}, folder, busFile, SIGTERM});
    std::string address;
    ASSERT_TRUE(eventually([&] {
        const auto text = readText(busFile);
        const auto end = text ? text->find('\n') : std::string::npos;
        if (end != std::string::npos) {
            address = text->substr(0, end);
        }
        return !address.empty();
    }));

    // The listener and the window find the accessibility bus through the session bus.
    const std::vector<std::string> environment{"DISPLAY=" + display,
                                               "DBUS_SESSION_BUS_ADDRESS=" + address};
    ::setenv("DISPLAY", display.c_str(), 1);
    ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
    ::unsetenv("AT_SPI_BUS_ADDRESS");
    ::setenv("QT_QPA_PLATFORM", "xcb", 1);
    ::setenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1", 1);
    TestChild bus({accessibilityBus, "--launch-immediately"},
                  {environment, folder, "/dev/null", SIGTERM});
    const auto script = folder / "listener.py";
    std::ofstream(script) << listenerScript;
    const auto heard = folder / "heard";
    TestChild listener({python, script.string(), "60"}, {environment, folder, heard, SIGTERM});
    ASSERT_TRUE(
        eventually([&] { return !linesWith(heard, {"ready"}).empty(); }, std::chrono::seconds(20)))
        << readText(heard).value_or("");

    {
        WindowHarness harness(DemoScenarioKind::ready);
        harness.showAndList();
        // Qt's bridge joins the accessibility bus a moment after the window opens.
        ASSERT_TRUE(processEventsUntil(
            [] { return QDBusConnection(QStringLiteral("a11y")).isConnected(); }));
        harness.click(harness.actionBar().primaryButton());
        ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ejected>());
        const auto spoken = [&](const std::string& sentence) {
            return linesWith(heard,
                             {"\"object:text-changed:insert\"", "\"data\": \"" + sentence + "\"",
                              "\"container-live\": \"polite\"", "\"parent\": \"Status\""});
        };
        // Readers that take AT-SPI's announcement get the sentence that way too.
        const auto announced = [&](const std::string& sentence) {
            return linesWith(heard, {"\"object:announcement\"", "\"data\": \"" + sentence + "\""});
        };
        EXPECT_TRUE(processEventsUntil([&] {
            return !spoken("Checking the disk.").empty() &&
                   !spoken("345-BACKUP ejected safely.").empty() &&
                   !announced("345-BACKUP ejected safely.").empty();
        })) << readText(heard).value_or("");
    }
    // The X server goes before the test ends: the application must not outlive it.
    delete QCoreApplication::instance();
}

} // namespace
} // namespace tovo::testing
