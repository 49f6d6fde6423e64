#include "TovoSystem/Linux/SessionBusApplication.hpp"
#include "TovoSystem/Services/DesktopApplicationRegistry.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <unistd.h>

namespace tovo {
namespace {

namespace fs = std::filesystem;

const std::string appSlice = "0::/user.slice/user-1000.slice/user@1000.service/app.slice/";

// A fabricated /proc and data directories; no session bus and no display.
class DesktopApplicationRegistryTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/tovo-registry-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        root = pattern;
        options.procRoot = root / "proc";
        options.dataDirectories = {root / "home", root / "system"};
        options.locale = "de_DE.UTF-8";
        addProcess(1, 0, "systemd", "0::/init.scope\n");
        addProcess(900, 1, "gnome-shell",
                   appSlice + "../session.slice/org.gnome.Shell@x11.service\n");
    }
    void TearDown() override { fs::remove_all(root); }

    void write(const fs::path& file, const std::string& text) {
        fs::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << text;
    }
    void addProcess(std::int32_t pid, std::int32_t parent, const std::string& command,
                    const std::string& cgroup, const std::string& state = "S") {
        const auto dir = options.procRoot / std::to_string(pid);
        write(dir / "stat", std::to_string(pid) + " (" + command + ") " + state + " " +
                                std::to_string(parent) + " " + std::to_string(pid) + " 0 0 -1\n");
        write(dir / "cgroup", cgroup);
        write(dir / "comm", command + "\n");
    }
    void addEnvironment(std::int32_t pid, std::vector<std::string> variables) {
        std::string text;
        for (const auto& variable : variables) {
            text += variable;
            text.push_back('\0');
        }
        write(options.procRoot / std::to_string(pid) / "environ", text);
    }
    void addEntry(const std::string& dir, const std::string& id, const std::string& body) {
        write(root / dir / "applications" / (id + ".desktop"), "[Desktop Entry]\n" + body);
    }
    std::optional<RunningApplication> lookUp(std::int32_t pid) {
        return DesktopApplicationRegistry(options).runningApplication(pid);
    }

    fs::path root;
    DesktopApplicationRegistry::Options options;
};

TEST_F(DesktopApplicationRegistryTest, MainProcessOfAnAppUnitIsARegularApplication) {
    addProcess(4242, 900, "evince", appSlice + "app-gnome-org.gnome.Evince-4242.scope\n");
    addEntry("home", "org.gnome.Evince", "Name=Document Viewer\nName[de]=Dokumentenbetrachter\n");
    addEntry("system", "org.gnome.Evince", "Name=System copy\n");
    EXPECT_EQ(lookUp(4242), (RunningApplication{4242, "Dokumentenbetrachter", "org.gnome.Evince",
                                                ActivationPolicy::regular}));
    options.locale.reset();
    EXPECT_EQ(lookUp(4242)->localizedName, "Document Viewer");
}

TEST_F(DesktopApplicationRegistryTest, PolicyFollowsTheEntryAndTheUnitsMainProcess) {
    const auto unit = appSlice + "app-org.example.Tray@1.service\n";
    addProcess(5000, 1, "tray", unit);
    addProcess(5001, 5000, "tray-helper", unit);
    addEntry("system", "org.example.Tray", "Name=Tray\nNoDisplay=true\n");
    EXPECT_EQ(lookUp(5000)->activationPolicy, ActivationPolicy::accessory);
    EXPECT_EQ(lookUp(5001),
              (RunningApplication{5001, "Tray", "org.example.Tray", ActivationPolicy::prohibited}));
}

TEST_F(DesktopApplicationRegistryTest, AppWithoutEntryHasNoName) {
    addProcess(4300, 900, "tool", appSlice + "app-gnome-org.example.Tool-4300.scope\n");
    addEntry("system", "org.example.Tool", "Name=\n");
    EXPECT_EQ(lookUp(4300), (RunningApplication{4300, std::nullopt, "org.example.Tool",
                                                ActivationPolicy::regular}));
}

TEST_F(DesktopApplicationRegistryTest, LaunchedDesktopFileCountsOnlyForTheLaunchedProcess) {
    const auto file = (root / "elsewhere/org.example.Notes.desktop").string();
    write(file, "[Desktop Entry]\nName=Notes\nName[de]=Notizen\n");
    const std::string variable = "GIO_LAUNCHED_DESKTOP_FILE=" + file;
    addProcess(6000, 900, "notes", "0::/\n");
    addEnvironment(6000, {"HOME=/home/user", variable, "GIO_LAUNCHED_DESKTOP_FILE_PID=6000"});
    // a shell it started inherited both variables
    addProcess(6001, 6000, "bash", "0::/\n");
    addEnvironment(6001, {variable, "GIO_LAUNCHED_DESKTOP_FILE_PID=6000"});
    // without the pid variable, a child that inherited the file is no application
    addProcess(6100, 900, "viewer", "0::/\n");
    addEnvironment(6100, {variable});
    addProcess(6101, 6100, "viewer-child", "0::/\n");
    addEnvironment(6101, {variable});

    EXPECT_EQ(lookUp(6000), (RunningApplication{6000, "Notizen", "org.example.Notes",
                                                ActivationPolicy::regular}));
    EXPECT_EQ(lookUp(6001), std::nullopt);
    EXPECT_TRUE(lookUp(6100));
    EXPECT_EQ(lookUp(6101), std::nullopt);
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
}

TEST_F(DesktopApplicationRegistryTest, PlainProcessesAndMissingOnesAreNoApplications) {
    addProcess(8000, 900, "lsof", appSlice + "app-org.gnome.Terminal.slice/vte-spawn-1.scope\n");
    addEnvironment(8000, {"PATH=/usr/bin"});
    EXPECT_EQ(lookUp(8000), std::nullopt);
    EXPECT_EQ(lookUp(8999), std::nullopt);
    EXPECT_EQ(lookUp(0), std::nullopt);
    EXPECT_EQ(lookUp(-5), std::nullopt);
}

TEST_F(DesktopApplicationRegistryTest, TerminatedWhenGoneOrAZombie) {
    addProcess(9000, 900, "a", "0::/\n", "S");
    addProcess(9001, 900, "b) Z (x", "0::/\n", "Z");
    DesktopApplicationRegistry registry(options);
    EXPECT_FALSE(registry.isTerminated(9000));
    EXPECT_TRUE(registry.isTerminated(9001));
    EXPECT_TRUE(registry.isTerminated(9002));
}

TEST_F(DesktopApplicationRegistryTest, WithoutBusOrDisplayQuitAndActivateAreRefused) {
    addProcess(4242, 900, "evince", appSlice + "app-gnome-org.gnome.Evince-4242.scope\n");
    options.sessionBusAddress = "unix:path=" + (root / "no-bus").string();
    options.display = ":97"; // nothing listens there
    DesktopApplicationRegistry registry(options);
    EXPECT_FALSE(registry.terminate(4242));
    EXPECT_FALSE(registry.activate(4242));
    EXPECT_FALSE(registry.terminate(8999));
    EXPECT_EQ(registry.ownBundleIdentifier(), "org.tovo.Tovo");
}

struct BusNameCase {
    std::string id;
    bool isBusName;
    std::string objectPath;
    friend void PrintTo(const BusNameCase& c, std::ostream* os) { *os << c.id; }
};

class BusName : public ::testing::TestWithParam<BusNameCase> {};

TEST_P(BusName, ValidityAndObjectPath) {
    EXPECT_EQ(SessionBusApplication::isBusName(GetParam().id), GetParam().isBusName);
    EXPECT_EQ(SessionBusApplication::objectPath(GetParam().id), GetParam().objectPath);
}

INSTANTIATE_TEST_SUITE_P(
    Ids, BusName,
    ::testing::Values(BusNameCase{"org.gnome.Evince", true, "/org/gnome/Evince"},
                      BusNameCase{"org.example.my-app", true, "/org/example/my_app"},
                      BusNameCase{"firefox", false, "/firefox"},
                      BusNameCase{"org.9lives.App", false, "/org/9lives/App"},
                      BusNameCase{"org..App", false, "/org//App"},
                      BusNameCase{"org.example.", false, "/org/example/"}));

} // namespace
} // namespace tovo
