#include "TovoTerminal/TerminalProgram.hpp"

#include "Tovo/Support/BlockerRowPresentation.hpp"
#include "Tovo/Support/ReleaseReviewPresentation.hpp"
#include "Tovo/Support/StatusPresentation.hpp"
#include "Tovo/Support/StopConfirmationPresentation.hpp"
#include "Tovo/Support/Typography.hpp"
#include "TovoCore/Models/Error.hpp"
#include "TovoTerminal/ConfirmationOutput.hpp"
#include "TovoTerminal/DiagnosisOutput.hpp"
#include "TovoTerminal/DiskDiagnosis.hpp"
#include "TovoTerminal/DiskListOutput.hpp"
#include "TovoTerminal/StatusOutput.hpp"

#include <algorithm>

namespace tovo {

namespace {

std::string lowercased(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) {
        return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    });
    return text;
}

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

} // namespace

TerminalProgram::TerminalProgram(TerminalOptions options, TerminalEnvironment environment)
    : options_(std::move(options))
    , environment_(std::move(environment))
    , style_(environment_.colour)
    , progress_(environment_.output, environment_.outputIsTerminal, style_, environment_.columns)
    , clock_(std::make_unique<RealClock>(executor_))
    , services_(environment_.makeServices(executor_))
    , causeFinder_(environment_.makeCauseFinder ? environment_.makeCauseFinder(executor_)
                                                : services_.causeFinder)
    , workflow_(std::make_unique<TovoWorkflow>(
          services_.volumeProvider, services_.ejector, services_.diagnoser, services_.releaser,
          services_.stopper, services_.settleDelayNanoseconds, services_.releaseTimeoutNanoseconds,
          *clock_, environment_.logger, executor_))
    , presentation_(services_.registry.get())
    , pendingStops_(options_.stopProcessIDs.begin(), options_.stopProcessIDs.end()) {
    if (causeFinder_) {
        workflow_->setBusyCauseFinder(causeFinder_);
    }
}

ExitCode TerminalProgram::run() {
    switch (options_.command) {
    case TerminalCommand::list:
        return list();
    case TerminalCommand::why:
        return why();
    case TerminalCommand::eject:
        return eject();
    }
    return ExitCode::usage;
}

void TerminalProgram::runToEnd(const TaskHandle& handle,
                               const std::function<std::optional<std::string>()>& status) {
    const auto update = [&] {
        progress_.show(status());
        progress_.tick();
    };
    executor_.runUntil([&] { return handle.isDone(); }, update, progress_.tickInterval());
    progress_.show(std::nullopt);
}

void TerminalProgram::drive(Task<void> operation) {
    const auto handle = spawn(executor_, std::move(operation));
    runToEnd(handle, [this]() -> std::optional<std::string> {
        const auto& phase = workflow_->phase();
        if (!phase.isBusy()) {
            return std::nullopt;
        }
        return StatusOutput::line(
            StatusPresentation::content(phase, workflow_->selectedDisk(), workflow_->blockers(),
                                        workflow_->releasePlans(), workflow_->busyCauses()));
    });
    // The workflow turns every failure into its phase; anything else is a fault.
    if (const auto error = handle.error()) {
        std::rethrow_exception(error);
    }
}

template<class T>
std::optional<T> TerminalProgram::complete(Task<T> task, std::exception_ptr& error,
                                           std::optional<std::string> progress) {
    std::optional<T> result;
    auto body = [](Task<T> inner, std::optional<T>& out) -> Task<void> {
        out = co_await std::move(inner);
    }(std::move(task), result);
    const auto handle = spawn(executor_, std::move(body));
    runToEnd(handle, [&] { return progress; });
    error = handle.error();
    return result;
}

ExitCode TerminalProgram::fail(const std::string& title, const std::string& message) {
    environment_.errors << "tovo: " << TerminalStyle::printable(title);
    if (!message.empty()) {
        environment_.errors << ": " << TerminalStyle::printable(message);
    }
    environment_.errors << '\n' << std::flush;
    return ExitCode::failed;
}

std::optional<ExternalDisk> TerminalProgram::refreshAndSelect(ExitCode& exit) {
    drive(workflow_->refresh());
    if (const auto* failure = workflow_->phase().getIf<EjectionPhase::Failed>()) {
        exit = fail(failure->title, failure->message);
        return std::nullopt;
    }
    if (!options_.disk) {
        return std::nullopt;
    }
    auto resolved =
        resolveDiskArgument(*options_.disk, workflow_->disks(), environment_.deviceNames);
    if (const auto* error = std::get_if<DiskArgumentError>(&resolved)) {
        environment_.errors << "tovo: " << TerminalStyle::printable(error->message) << '\n';
        exit =
            error->kind == DiskArgumentError::Kind::ambiguous ? ExitCode::usage : ExitCode::failed;
        return std::nullopt;
    }
    const auto& disk = std::get<ExternalDisk>(resolved);
    workflow_->selectDisk(disk.id);
    return disk;
}

ExitCode TerminalProgram::list() {
    ExitCode exit = ExitCode::ejected;
    refreshAndSelect(exit);
    if (exit != ExitCode::ejected) {
        return exit;
    }
    environment_.output << (options_.json ? DiskListOutput::json(workflow_->disks())
                                          : DiskListOutput::text(workflow_->disks(), style_));
    return ExitCode::ejected;
}

ExitCode TerminalProgram::why() {
    ExitCode exit = ExitCode::ejected;
    const auto disk = refreshAndSelect(exit);
    if (!disk) {
        return exit;
    }
    std::exception_ptr error;
    // Piped or as JSON, `why` prints its answer alone.
    std::optional<std::string> progress;
    if (!options_.json && environment_.outputIsTerminal) {
        progress = StatusOutput::line(
            StatusPresentation::content(EjectionPhase::diagnosing(), disk, {}, {}));
    }
    const auto diagnosis = complete(diagnoseDisk(services_, causeFinder_, *disk), error, progress);
    if (error || !diagnosis) {
        return fail("Could not inspect this disk", readableMessage(error));
    }
    environment_.output << (options_.json
                                ? DiagnosisOutput::json(*diagnosis, presentation_)
                                : DiagnosisOutput::text(*diagnosis, presentation_, style_));
    return diagnosis->isBusy() ? ExitCode::stillBusy : ExitCode::ejected;
}

ExitCode TerminalProgram::dryRun(const ExternalDisk& disk) {
    std::exception_ptr error;
    const auto diagnosis = complete(
        diagnoseDisk(services_, causeFinder_, disk), error,
        StatusOutput::line(StatusPresentation::content(EjectionPhase::diagnosing(), disk, {}, {})));
    if (error || !diagnosis) {
        return fail("Could not inspect this disk", readableMessage(error));
    }
    auto& out = environment_.output;
    out << '\n' << DiagnosisOutput::text(*diagnosis, presentation_, style_);
    if (diagnosis->isBusy()) {
        out << '\n'
            << ConfirmationOutput::review(
                   ReleaseReviewPresentation::content(presentation_, disk, diagnosis->blockers,
                                                      diagnosis->releasePlans, diagnosis->causes),
                   style_);
        for (const auto pid : options_.stopProcessIDs) {
            const auto found = std::ranges::find(diagnosis->blockers, pid, &BlockingProcess::pid);
            if (found != diagnosis->blockers.end()) {
                out << '\n'
                    << ConfirmationOutput::stop(
                           StopConfirmationPresentation::content(
                               presentation_, *found, stopPlanFor(pid, diagnosis->stopPlans)),
                           style_);
            }
        }
    }
    out << "\nDry run: nothing was ejected, asked to quit or stopped.\n";
    return diagnosis->isBusy() ? ExitCode::stillBusy : ExitCode::ejected;
}

ExitCode TerminalProgram::eject() {
    ExitCode exit = ExitCode::ejected;
    const auto disk = refreshAndSelect(exit);
    if (!disk) {
        return exit;
    }
    if (options_.dryRun) {
        return dryRun(*disk);
    }
    drive(workflow_->attemptEject());
    return blocked(*disk);
}

// Follows the workflow from its first answer to the end: a blocked disk gets the
// review and, when asked for, the named stops, one confirmation each.
ExitCode TerminalProgram::blocked(const ExternalDisk& disk) {
    auto& out = environment_.output;
    bool reviewed = false;
    while (true) {
        const auto& phase = workflow_->phase();
        if (phase.is<EjectionPhase::Ejected>()) {
            out << StatusOutput::text(StatusPresentation::content(phase, std::nullopt, {}, {}),
                                      style_);
            return ExitCode::ejected;
        }
        if (const auto* failure = phase.getIf<EjectionPhase::Failed>()) {
            return fail(failure->title, failure->message);
        }
        if (!phase.is<EjectionPhase::Blocked>()) {
            return fail("Could not eject", std::string(phase.caseName()));
        }

        const auto diagnosis = publishedDiagnosis(*workflow_, disk);
        out << '\n' << DiagnosisOutput::text(diagnosis, presentation_, style_);
        const auto review =
            ReleaseReviewPresentation::content(presentation_, disk, workflow_->blockers(),
                                               workflow_->releasePlans(), workflow_->busyCauses());
        if (!reviewed) {
            reviewed = true;
            out << '\n' << ConfirmationOutput::review(review, style_);
            // A confirmed review also carries out the causes' actions, which no polite
            // quit covers: a person answers for those.
            if (review.canConfirm && options_.assumeYes && !diagnosis.actionableCauses().empty()) {
                out << "\n--yes approves only polite quits, and these steps are more: run "
                       "tovo without --yes to confirm them.\n";
            } else if (review.canConfirm && confirm(review.confirmTitle)) {
                drive(workflow_->performSafeTovo());
                continue;
            }
        }
        if (stopNextNamedProcess(disk)) {
            continue;
        }
        if (options_.stopProcessIDs.empty()) {
            printStopHints(disk);
        }
        return ExitCode::stillBusy;
    }
}

bool TerminalProgram::stopNextNamedProcess(const ExternalDisk& disk) {
    auto& out = environment_.output;
    while (!pendingStops_.empty()) {
        const auto pid = pendingStops_.front();
        pendingStops_.pop_front();
        const auto& blockers = workflow_->blockers();
        const auto process = std::ranges::find(blockers, pid, &BlockingProcess::pid);
        if (process == blockers.end()) {
            environment_.errors << "tovo: Process " << pid << " is not holding "
                                << curlyQuoted(TerminalStyle::printable(disk.displayName)) << ".\n";
            continue;
        }
        const auto content = StopConfirmationPresentation::content(
            presentation_, *process, stopPlanFor(pid, workflow_->stopPlans()));
        out << '\n' << ConfirmationOutput::stop(content, style_);
        if (content.canConfirm && confirm(content.confirmTitle)) {
            drive(workflow_->performStop(*process));
            return true;
        }
    }
    return false;
}

void TerminalProgram::printStopHints(const ExternalDisk& disk) {
    const auto arguments = options_.disk.value_or(disk.id);
    for (const auto& plan : workflow_->stopPlans()) {
        if (!StopConfirmationPresentation::hasSomethingToConfirm(plan)) {
            continue;
        }
        environment_.output << "\nTo send " << TerminalStyle::printable(plan.processName)
                            << " one stop request, run: tovo eject "
                            << TerminalStyle::printable(arguments) << " --stop " << plan.processID
                            << '\n';
    }
}

bool TerminalProgram::confirm(const std::string& confirmTitle) {
    auto& out = environment_.output;
    out << '\n' << style_.bold(ConfirmationOutput::question(confirmTitle));
    if (options_.assumeYes) {
        out << "y (--yes)\n" << std::flush;
        return true;
    }
    out << std::flush;
    std::string answer;
    if (!std::getline(environment_.input, answer)) {
        out << '\n';
        return false;
    }
    if (!environment_.inputIsTerminal) {
        // The answer came from a pipe: show it, so the transcript reads as a dialogue.
        out << TerminalStyle::printable(answer) << '\n';
    }
    answer = lowercased(trimmed(answer));
    return answer == "y" || answer == "yes";
}

} // namespace tovo
