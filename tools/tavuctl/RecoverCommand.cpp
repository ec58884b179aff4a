// recover
#include <time.h>

#include <iostream>

#include "tools/tavuctl/Commands.h"
#include "tools/tavuctl/DeviceActivity.h"
#include "tools/tavuctl/Failure.h"
#include "tools/tavuctl/Format.h"
#include "tools/tavuctl/ProgressDisplay.h"
#include "tools/tavuctl/RecordingList.h"
#include "tools/tavuctl/Terminal.h"

namespace tavu::tavuctl {

namespace {


constexpr timespec RecoveryPollInterval{0, 250'000'000};

struct RecoverOptions {
    uint32_t device = 0;
    bool discard = false;
    bool yes = false;
};

std::string onDevice(uint32_t device) { return "device " + std::to_string(device); }

// Polls until the job has ended; Ctrl-C asks the device to cancel it and keeps polling.
RecoveryStatus waitForRecovery(Session& session, uint32_t device) {
    client::Client& client = session.client();
    const InterruptGuard interrupts("\ntavuctl: the recovery is being cancelled, please wait\n");
    ProgressDisplay display(session.progressOut(), session.progressFd(), !session.options.quiet);
    const auto start = std::chrono::steady_clock::now();
    bool cancelled = false;
    for (;;) {
        const RecoveryStatus status = attempt("cannot follow the recovery on " + onDevice(device),
                                              [&] { return client.recoveryStatus(device); });
        const std::string line = "Recovering the incomplete recording of " + onDevice(device) + ", " +
                                 formatElapsed(std::chrono::steady_clock::now() - start);
        if (status != RecoveryStatus::Running) {
            display.finish({line});
            return status;
        }
        if (interrupts.interrupted() && !cancelled) {
            cancelled = true;
            attempt("cannot cancel the recovery on " + onDevice(device), [&] { client.cancelRecovery(device); });
        }
        display.show({line + (cancelled ? "  (cancelling)" : "  (Ctrl-C cancels)")});
        nanosleep(&RecoveryPollInterval, nullptr);
    }
}

void finish(Session& session, uint32_t device) {
    client::Client& client = session.client();
    const std::vector<FileRecord> before = client.listFiles(device);
    attempt("the recovery on " + onDevice(device) + " completed, but finishing it failed",
            [&] { client.finishRecovery(device); });
    const std::vector<FileRecord> added = newRecordings(before, client.listFiles(device));
    if (session.json()) {
        session.emit({{"device", device}, {"recovered", true}, {"recordings", recordingsJson(added)}});
        return;
    }
    std::cout << "Recovered the incomplete recording of " << onDevice(device) << ".\n";
    if (!added.empty()) {
        printRecordings(std::cout, added);
    }
}

void recover(Session& session, const RecoverOptions& options) {
    session.requireDevice(options.device);
    client::Client& client = session.client();
    const uint32_t device = options.device;
    if (!cutOffRecordingWaits(client, device)) {
        if (session.json()) {
            session.emit({{"device", device}, {"incomplete", false}});
        } else {
            std::cout << "Device " << device << " has no incomplete recording; nothing to do.\n";
        }
        return;
    }
    if (options.discard) {
        if (!confirm("Discard the incomplete recording of " + onDevice(device) + "? Its frames will be lost.",
                     options.yes)) {
            throw Failure(exitcode::Failed, "nothing discarded");
        }
        attempt("cannot discard the incomplete recording of " + onDevice(device),
                [&] { client.discardIncompleteFile(device); });
        if (session.json()) {
            session.emit({{"device", device}, {"discarded", true}});
        } else {
            std::cout << "Discarded the incomplete recording of " << onDevice(device) << ".\n";
        }
        return;
    }
    if (isEmulator(client, device)) {
        throw Failure(exitcode::Failed, "the emulated recorder cannot repair a cut-off recording, so the one on " +
                                            onDevice(device) + " cannot be recovered; 'tavuctl recover " +
                                            std::to_string(device) + " --discard' throws it away");
    }
    attempt("cannot start the recovery on " + onDevice(device), [&] { client.startRecovery(device); });
    switch (waitForRecovery(session, device)) {
        case RecoveryStatus::Done:
            finish(session, device);
            return;
        case RecoveryStatus::Failed:
            throw Failure(exitcode::Failed, "the recovery on " + onDevice(device) + " failed: " +
                                                client.recoveryError(device));
        case RecoveryStatus::Cancelled:
            throw Failure(exitcode::Interrupted, "the recovery on " + onDevice(device) +
                                                     " was cancelled; the incomplete recording is still there");
        default:
            throw Failure(exitcode::Failed, "the device reports that no recovery ran on " + onDevice(device));
    }
}

}  // namespace

void addRecoverCommand(CLI::App& app, Session& session) {
    auto options = std::make_shared<RecoverOptions>();
    auto* command =
        app.add_subcommand("recover", "Salvage a recording that was cut off (by a crash or power loss)");
    addDeviceArgument(*command, options->device);
    command->add_flag("--discard", options->discard, "Throw the incomplete recording away instead");
    command->add_flag("-y,--yes", options->yes, "Don't ask before discarding");
    command->footer("Without an incomplete recording there is nothing to do, and the status is 0.\n"
                    "The emulated recorder cannot repair a recording; there, only --discard helps.\n"
                    "Ctrl-C cancels a running recovery; the incomplete recording then stays for a later try.");
    command->callback([&session, options] { recover(session, *options); });
}

}  // namespace tavu::tavuctl
