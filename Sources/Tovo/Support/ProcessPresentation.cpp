#include "Tovo/Support/ProcessPresentation.hpp"

#include "Tovo/Support/ReadableText.hpp"
#include "TovoSystem/Services/ProgramRoles.hpp"

#include <algorithm>
#include <array>

namespace tovo {

namespace {

std::string lowercased(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](unsigned char c) {
        return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    });
    return result;
}

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

bool isShowable(const std::optional<RunningApplication>& application) {
    return application && application->activationPolicy != ActivationPolicy::prohibited;
}

} // namespace

bool ProcessPresentation::isVirtualMachine(const BlockingProcess& process) {
    return contains(lowercased(process.command), "virtualization.virtualmachine") ||
           ProgramRoles::of(process.command, process.executablePath) == ProgramRole::virtualMachine;
}

bool ProcessPresentation::isFileIndexer(const BlockingProcess& process) {
    return ProgramRoles::of(process.command, process.executablePath) == ProgramRole::fileIndexer;
}

std::string ProcessPresentation::name(const BlockingProcess& process) const {
    std::string plain = plainName(process);
    return names_ == Names::readable ? ReadableText::fromRaw(plain) : plain;
}

std::string ProcessPresentation::plainName(const BlockingProcess& process) const {
    if (isVirtualMachine(process)) {
        return "Virtual Machine";
    }
    if (isFileIndexer(process)) {
        return "File Indexer";
    }
    if (registry_ != nullptr) {
        const auto application = registry_->runningApplication(process.pid);
        if (application && application->localizedName && !application->localizedName->empty()) {
            return *application->localizedName;
        }
    }
    return process.command;
}

std::optional<RunningApplication>
ProcessPresentation::showableApplication(const BlockingProcess& process) const {
    if (registry_ == nullptr) {
        return std::nullopt;
    }
    if (auto own = registry_->runningApplication(process.pid); isShowable(own)) {
        return own;
    }
    if (process.parentApplication) {
        if (auto parent = registry_->runningApplication(process.parentApplication->pid);
            isShowable(parent)) {
            return parent;
        }
    }
    return std::nullopt;
}

std::optional<std::string>
ProcessPresentation::applicationIconName(const BlockingProcess& process) const {
    if (registry_ == nullptr) {
        return std::nullopt;
    }
    const auto application = registry_->runningApplication(process.pid);
    if (!application || !application->bundleIdentifier || application->bundleIdentifier->empty()) {
        return std::nullopt;
    }
    return application->bundleIdentifier;
}

std::string ProcessPresentation::fallbackSymbol(const BlockingProcess& process) {
    const auto role = ProgramRoles::of(process.command, process.executablePath);
    if (isVirtualMachine(process) || contains(lowercased(process.command), "virtual")) {
        return "shippingbox.fill";
    }
    if (role == ProgramRole::fileIndexer) {
        return "magnifyingglass";
    }
    if (role == ProgramRole::shell || role == ProgramRole::terminal) {
        return "terminal.fill";
    }
    return "app.fill";
}

std::string ProcessPresentation::activity(const BlockingProcess& process) {
    if (process.isSystemDissent || process.openFiles.empty()) {
        return "The system named this process as the eject blocker.";
    }
    if (process.hasWritableFiles()) {
        return "It has an item open for writing.";
    }
    if (isVirtualMachine(process)) {
        return "A virtual machine has files open on this disk.";
    }
    if (isFileIndexer(process)) {
        return "The file indexer has files open on this disk.";
    }
    if (process.holdsCurrentFolder()) {
        const auto others =
            std::count_if(process.openFiles.begin(), process.openFiles.end(),
                          [](const OpenFileReference& file) { return file.descriptor != "cwd"; });
        if (others == 0) {
            return "Its current folder is on this disk.";
        }
        if (others == 1) {
            return "Its current folder is on this disk, and it has one item open.";
        }
        return "Its current folder is on this disk, and it has " + std::to_string(others) +
               " items open.";
    }
    if (process.hasUnknownAccess()) {
        return "Its access to this disk is not clear.";
    }
    if (process.openFiles.size() == 1) {
        return "It has one item open on this disk.";
    }
    return "It has " + std::to_string(process.openFiles.size()) + " items open on this disk.";
}

std::string ProcessPresentation::label(const OpenFileReference& file) {
    if (file.descriptor == "cwd") {
        return "Current folder: " + file.path;
    }
    return file.path;
}

std::string ProcessPresentation::statusSymbol(const std::optional<ProcessReleasePlan>& plan,
                                              const std::optional<ReleaseAttempt>& attempt) {
    if (attempt) {
        switch (attempt->disposition) {
        case ReleaseDisposition::requested:
            return "arrow.right.circle.fill";
        case ReleaseDisposition::alreadyClosed:
            return "checkmark.circle.fill";
        case ReleaseDisposition::needsManualAction:
            return "exclamationmark.circle.fill";
        case ReleaseDisposition::failed:
            return "xmark.circle.fill";
        }
    }
    if (plan && plan->strategy == ReleaseStrategy::quitApplication) {
        return "arrow.right.circle.fill";
    }
    return "exclamationmark.circle.fill";
}

SymbolColor ProcessPresentation::statusSymbolColor(const std::optional<ProcessReleasePlan>& plan,
                                                   const std::optional<ReleaseAttempt>& attempt) {
    if (attempt) {
        switch (attempt->disposition) {
        case ReleaseDisposition::requested:
        case ReleaseDisposition::alreadyClosed:
            return SymbolColor::green;
        case ReleaseDisposition::needsManualAction:
            return SymbolColor::orange;
        case ReleaseDisposition::failed:
            return SymbolColor::red;
        }
    }
    if (plan && plan->strategy == ReleaseStrategy::quitApplication) {
        return SymbolColor::secondary;
    }
    return SymbolColor::orange;
}

TextColor ProcessPresentation::messageColor(const std::optional<ProcessReleasePlan>& plan,
                                            const std::optional<ReleaseAttempt>& attempt) {
    if (attempt && (attempt->disposition == ReleaseDisposition::needsManualAction ||
                    attempt->disposition == ReleaseDisposition::failed)) {
        return TextColor::primary;
    }
    if (plan && plan->strategy == ReleaseStrategy::manualAction) {
        return TextColor::primary;
    }
    return TextColor::secondary;
}

} // namespace tovo
