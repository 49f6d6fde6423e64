#include "ProcessTestSupport.hpp"
#include "TovoSystem/Services/DesktopApplicationRegistry.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace tovo {
namespace {

namespace fs = std::filesystem;
const auto write = testing::writeText;

const std::string appSlice = "0::/user.slice/user-1000.slice/user@1000.service/app.slice/";

// A fabricated /proc and data directories; no session bus and no display.
class DesktopApplicationRegistryTest : public ::testing::Test {
protected:
    void SetUp() override {
        options.procRoot = root.path() / "proc";
        options.dataDirectories = {root.path() / "home", root.path() / "system"};
        options.locale = "de_DE.UTF-8";
    }
    void addProcess(std::int32_t pid, std::int32_t parent, const std::string& command,
                    const std::string& cgroup, const std::string& environment = "") {
        const auto dir = options.procRoot / std::to_string(pid);
        write(dir / "stat", std::to_string(pid) + " (" + command + ") S " + std::to_string(parent) +
                                " " + std::to_string(pid) + " 0 0 -1\n");
        write(dir / "cgroup", cgroup);
        write(dir / "environ", environment);
    }
    void addEntry(const std::string& dir, const std::string& id, const std::string& body) {
        write(root.path() / dir / "applications" / (id + ".desktop"), "[Desktop Entry]\n" + body);
    }
    std::optional<RunningApplication> lookUp(std::int32_t pid) {
        return DesktopApplicationRegistry(options).runningApplication(pid);
    }

    testing::TemporaryFolder root;
    DesktopApplicationRegistry::Options options;
};

TEST_F(DesktopApplicationRegistryTest, MainProcessOfAnAppUnitIsAnApplicationAsItsEntrySays) {
    addProcess(4242, 900, "evince", appSlice + "app-gnome-org.gnome.Evince-4242.scope\n");
    addEntry("home", "org.gnome.Evince", "Name=Document Viewer\nName[de]=Dokumentenbetrachter\n");
    addEntry("system", "org.gnome.Evince", "Name=System copy\n");
    EXPECT_EQ(lookUp(4242), (RunningApplication{4242, "Dokumentenbetrachter", "org.gnome.Evince",
                                                ActivationPolicy::regular}));
    options.locale.reset();
    EXPECT_EQ(lookUp(4242)->localizedName, "Document Viewer");

    // The policy follows the entry and the unit's main process.
    const auto unit = appSlice + "app-org.example.Tray@1.service\n";
    addProcess(5000, 1, "tray", unit);
    addProcess(5001, 5000, "tray-helper", unit);
    addEntry("system", "org.example.Tray", "Name=Tray\nNoDisplay=true\n");
    EXPECT_EQ(lookUp(5000)->activationPolicy, ActivationPolicy::accessory);
    EXPECT_EQ(lookUp(5001),
              (RunningApplication{5001, "Tray", "org.example.Tray", ActivationPolicy::prohibited}));
}

TEST_F(DesktopApplicationRegistryTest, LaunchedDesktopFileCountsOnlyForTheLaunchedProcess) {
    const auto file = (root.path() / "elsewhere/org.example.Notes.desktop").string();
    write(file, "[Desktop Entry]\nName=Notes\nName[de]=Notizen\n");
    const auto variable = "GIO_LAUNCHED_DESKTOP_FILE=" + file + '\0';
    const auto launchedPID = std::string("GIO_LAUNCHED_DESKTOP_FILE_PID=6000") + '\0';
    addProcess(6000, 900, "notes", "0::/\n",
               std::string("HOME=/home/user") + '\0' + variable + launchedPID);
    addProcess(6001, 6000, "bash", "0::/\n", variable + launchedPID); // a shell it started
    // without the pid variable, a child that inherited the file is no application
    addProcess(6100, 900, "viewer", "0::/\n", variable);
    addProcess(6101, 6100, "viewer-child", "0::/\n", variable);

    EXPECT_EQ(lookUp(6000), (RunningApplication{6000, "Notizen", "org.example.Notes",
                                                ActivationPolicy::regular}));
    EXPECT_EQ(lookUp(6001), std::nullopt);
    EXPECT_TRUE(lookUp(6100));
    EXPECT_EQ(lookUp(6101), std::nullopt);

    // Another program chose the path: a FIFO must not hang the lookup.
    const auto fifo = root.path() / "elsewhere/org.example.Pipe.desktop";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    addProcess(6200, 900, "pipe", "0::/\n",
               "GIO_LAUNCHED_DESKTOP_FILE=" + fifo.string() + '\0' +
                   "GIO_LAUNCHED_DESKTOP_FILE_PID=6200" + '\0');
    EXPECT_EQ(lookUp(6200), (RunningApplication{6200, std::nullopt, "org.example.Pipe",
                                                ActivationPolicy::regular}));
}

TEST_F(DesktopApplicationRegistryTest, FlatpakInstanceMainProcessAndHelpers) {
    const std::string info =
        "[Application]\nname=org.example.Paint\n\n[Instance]\ninstance-id=77\n";
    addProcess(7000, 900, "bwrap", "0::/\n");
    addProcess(7001, 7000, "paint", "0::/\n");
    addProcess(7002, 7001, "paint-worker", "0::/\n");
    write(options.procRoot / "7001/root/.flatpak-info", info);
    write(options.procRoot / "7002/root/.flatpak-info", info);
    addEntry("system", "org.example.Paint", "Name=Paint\n");
    EXPECT_EQ(lookUp(7001),
              (RunningApplication{7001, "Paint", "org.example.Paint", ActivationPolicy::regular}));
    EXPECT_EQ(lookUp(7002)->activationPolicy, ActivationPolicy::prohibited);

    addProcess(7101, 7000, "huge", "0::/\n"); // its sandbox file is not read whole
    write(options.procRoot / "7101/root/.flatpak-info", info + std::string(2 << 20, '#'));
    EXPECT_EQ(lookUp(7101), std::nullopt);
}

TEST_F(DesktopApplicationRegistryTest, PlainGoneAndZombieProcesses) {
    addProcess(8000, 900, "lsof", appSlice + "app-org.gnome.Terminal.slice/vte-spawn-1.scope\n");
    write(options.procRoot / "9001/stat", "9001 (b) Z (x) Z 900 9001 0 0 -1\n");
    DesktopApplicationRegistry registry(options);
    for (const auto pid : {8000, 8999, -5}) {
        EXPECT_EQ(registry.runningApplication(pid), std::nullopt) << pid;
    }
    EXPECT_EQ(std::tuple(registry.isTerminated(8000), registry.isTerminated(9001),
                         registry.isTerminated(8999)),
              std::tuple(false, true, true));
}

TEST_F(DesktopApplicationRegistryTest, WithoutBusOrDisplayNothingIsSent) {
    // Our own pid, so that the registry can pin a live process.
    const auto pid = static_cast<std::int32_t>(::getpid());
    addProcess(pid, 900, "evince", appSlice + "app-gnome-org.gnome.Evince-1.scope\n");
    options.sessionBusAddress = "unix:path=" + (root.path() / "no-bus").string();
    options.display = ":97"; // nothing listens there
    DesktopApplicationRegistry registry(options);
    EXPECT_EQ(registry.quitRoute(pid), std::nullopt);
    for (const auto route :
         {QuitRoute::mediaPlayer, QuitRoute::applicationAction, QuitRoute::windowClose}) {
        EXPECT_EQ(registry.terminate(pid, route, [] { return true; }),
                  QuitRequestOutcome::noProvenRoute);
    }
    EXPECT_FALSE(registry.activate(pid));
    EXPECT_EQ(registry.ownBundleIdentifier(), "org.tovo.Tovo") << "so that Tovo never quits itself";
}

} // namespace
} // namespace tovo
