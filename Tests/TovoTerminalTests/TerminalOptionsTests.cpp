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

} // namespace
} // namespace tovo
