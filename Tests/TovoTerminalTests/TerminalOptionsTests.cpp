#include "Support/ModelBuilders.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"
#include "TovoTerminal/DiskArgument.hpp"
#include "TovoTerminal/TerminalOptions.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using Row = std::pair<std::vector<std::string>, ParsedCommandLine>;

using enum TerminalCommand;
using enum TerminalInformation;
const std::string notAPid = "\u201D is not a process id.";
Row wrong(std::vector<std::string> arguments, std::string message) {
    return {std::move(arguments), UsageError{std::move(message)}};
}

TEST(TerminalOptionsTest, ReadsEachCommandWithItsOptionsAnywhereOrSaysWhatIsWrong) {
    for (const auto& [arguments, parsed] :
         {Row{{"--json", "list", "--demo-ready"},
              TerminalOptions{list, std::nullopt, true, false, false, {}, DemoScenarioKind::ready}},
          Row{{"eject", "-y", "/dev/sdb1", "--stop", "42", "--stop=7", "--stop", "42", "-n"},
              TerminalOptions{eject, "/dev/sdb1", false, true, true, {42, 7}, std::nullopt}},
          // After "--" even a leading dash is the disk, and --help is no request.
          Row{{"why", "--", "-odd-name"},
              TerminalOptions{why, "-odd-name", false, false, false, {}, std::nullopt}},
          wrong({"why", "--", "--help", "x"}, "Unexpected argument \u201Cx\u201D."),
          // Help and version answer whatever else is there.
          Row{{"eject", "--bogus", "--help"}, help}, Row{{"-h"}, help},
          Row{{"list", "--version"}, version},
          wrong({"--json"}, "Name a command: list, why or eject."),
          wrong({"unmount", "sdb"},
                "Unknown command \u201Cunmount\u201D. The commands are list, why and eject."),
          wrong({"eject", "sdb", "--demo-light"}, "Unknown option \u201C--demo-light\u201D."),
          wrong({"why"}, "\u201Cwhy\u201D needs a disk: its id, a device path such as /dev/sdb, "
                         "or a mount point."),
          wrong({"list", "sdb"}, "Unexpected argument \u201Csdb\u201D."),
          wrong({"eject", "sdb", "--stop"}, "\u201C--stop\u201D needs a process id."),
          wrong({"eject", "sdb", "--stop", "firefox"}, "\u201Cfirefox" + notAPid),
          wrong({"eject", "sdb", "--stop=0"}, "\u201C0" + notAPid),
          wrong({"eject", "sdb", "--stop", "99999999999"}, "\u201C99999999999" + notAPid),
          wrong({"eject", "sdb", "--json"}, "\u201C--json\u201D works only with list and why."),
          wrong({"why", "sdb", "--stop", "12"}, "\u201C--stop\u201D works only with eject."),
          wrong({"list", "--demo-ready", "--demo-blocked"},
                "Choose one demo: --demo-tovoable, --demo-blocked, --demo-ready or "
                "--demo-layered.")}) {
        EXPECT_EQ(parseTerminalArguments(arguments), parsed) << ::testing::PrintToString(arguments);
    }
}

using namespace tovo::testing;

// Two disks: sdb with two partitions and an encrypted volume on the second, sdc. Each
// row is an argument and the disk it names, or the refusal.
TEST(DiskArgumentTest, FindsADiskByEachOfItsNamesAndRefusesWhatNamesNoneOrMoreThanOne) {
    TemporaryFolder folder;
    std::filesystem::create_directories(folder.path() / "Photos");
    std::filesystem::create_directory_symlink(folder.path() / "Photos", folder.path() / "link");
    auto first = makeDisk(1, "BACKUP");
    first.volumes = {makeVolume("A", "/media/user/BACKUP"),
                     makeVolume("B", (folder.path() / "Photos").string())};
    first.volumes[1].name = "Photos";
    auto second = makeDisk(2, "CAMERA");
    second.wholeDiskIdentifier = "sdc";
    const auto resolve = [&](const std::string& argument) -> std::string {
        const auto result = resolveDiskArgument(argument, {first, second}, [](const auto& disk) {
            return disk.wholeDiskIdentifier == "sdb"
                       ? std::vector<std::string>{"sdb", "sdb1", "sdb2", "dm-3"}
                       : wholeDiskDeviceName(disk);
        });
        if (const auto* error = std::get_if<DiskArgumentError>(&result)) {
            return (error->kind == DiskArgumentError::Kind::ambiguous ? "ambiguous: " : "none: ") +
                   error->message;
        }
        return std::get<ExternalDisk>(result).id;
    };
    const std::string one = "attachment:1", two = "attachment:2", none = "none: No external disk";
    using Row = std::pair<std::string, std::string>;
    for (const auto& [argument, expected] :
         {Row{two, two}, Row{"/dev/sdb", one}, Row{"/dev/sdb2", one}, Row{"/dev/dm-3", one},
          Row{"sdb1", one}, Row{"/media/user/./BACKUP/", one},
          Row{(folder.path() / "link").string(), one}, Row{"CAMERA", two}, Row{"Photos", one},
          Row{"/dev/sdd",
              none + " matches \u201C/dev/sdd\u201D. Run \u201Ctovo list\u201D to see them."},
          Row{"/media/user/BACKUP/folder", none}, Row{"attachment", none},
          // Both disks have a volume named "DISK".
          Row{"DISK", "ambiguous: \u201CDISK\u201D names more than one disk (attachment:1, "
                      "attachment:2). Name one by its id."}}) {
        EXPECT_EQ(resolve(argument).substr(0, expected.size()), expected) << argument;
    }
}

} // namespace
} // namespace tovo
