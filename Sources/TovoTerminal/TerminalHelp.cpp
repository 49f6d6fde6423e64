#include "TovoTerminal/TerminalHelp.hpp"

#include "Tovo/Support/Typography.hpp"
#include "TovoTerminal/ExitCode.hpp"

namespace tovo {

std::string terminalHelpText() {
    const auto code = [](ExitCode exit) { return std::to_string(toInt(exit)); };
    return "Usage: tovo COMMAND [DISK] [OPTION...]\n"
           "\n"
           "Ejects external disks safely. When a disk is busy, tovo shows which apps and\n"
           "services hold it and plans for each; after you confirm, it asks the apps it may\n"
           "to quit, waits, checks again and ejects. It never forces anything.\n"
           "\n"
           "Commands:\n"
           "  list              the external disks, their volumes and sizes\n"
           "  why DISK          what keeps DISK busy, and the plan for each holder\n"
           "  eject DISK        eject DISK; when it is busy, show the plan, ask, release,\n"
           "                    wait and try again\n"
           "\n"
           "DISK is a disk id (see tovo list), a device path such as /dev/sdb or /dev/sdb1,\n"
           "a mount point, or the disk's name.\n"
           "\n"
           "Options:\n"
           "  --json            print list and why as JSON\n"
           "  -n, --dry-run     eject: show what would happen, change nothing\n"
           "  -y, --yes         eject: answer yes, for scripts; asks apps to quit politely,\n"
           "                    never stops a process that --stop does not name, and\n"
           "                    leaves other steps (a mount inside the disk, a disk\n"
           "                    image) to a person's answer\n"
           "  --stop PID        eject: if PID still holds the disk, send it the one stop\n"
           "                    request its stop plan allows, after the same confirmation\n"
           "                    (repeat for more processes)\n"
           "  --demo-tovoable, --demo-blocked, --demo-ready, --demo-layered\n"
           "                    use the sample disk of the window's demo, not the system\n"
           "  -h, --help        show this help\n"
           "  --version         show the version\n"
           "\n"
           "Exit status:\n"
           "  " +
           code(ExitCode::ejected) +
           "   ejected; for list and why: done, and nothing holds the disk\n"
           "  " +
           code(ExitCode::stillBusy) +
           "   the disk is still in use\n"
           "  " +
           code(ExitCode::failed) +
           "   failed: no such disk, the system refused, or a check failed\n"
           "  " +
           code(ExitCode::usage) + "  bad usage\n";
}

std::string terminalVersionText() {
    return std::string("tovo ") + TOVO_VERSION + "\n";
}

std::string terminalHelpHint() {
    return "Run " + curlyQuoted("tovo --help") + " to see the commands and options.\n";
}

} // namespace tovo
