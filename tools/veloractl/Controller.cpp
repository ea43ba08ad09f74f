/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/veloractl/Controller.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "tools/common/ArgumentParser.h"
#include "tools/common/Json.h"
#include "tools/veloractl/ControllerText.h"
#include "tools/veloractl/PackedBuffer.h"
#include "tools/veloractl/TextParsing.h"
#include "tools/veloractl/UpdateDecoder.h"

namespace velora {

namespace {

// Where veloractl looks for velorad when neither --root, --socket nor the environment says.
std::string default_socket() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    return std::string(runtime != nullptr && runtime[0] != '\0' ? runtime : "/tmp") +
           "/velorad.sock";
}

}  // namespace

const Controller::Command Controller::kCommands[] = {
    {"status", "status", "effect on/off, selected profile, tuning device per port",
     "Shows whether the effect is on, the selected profile and its name, the tuning device\n"
     "selected for every port, the tuning file's format version and whether the internal\n"
     "speaker is mono.\n",
     nullptr, true, &Controller::cmdStatus},
    {"on", "on", "switch the effect on",
     "Switches the effect on (packed set command 0); the service saves the state.\n", nullptr, true,
     &Controller::cmdOn},
    {"off", "off", "switch the effect off",
     "Switches the effect off (packed set command 0); the service saves the state.\n", nullptr,
     true, &Controller::cmdOff},
    {"profiles", "profiles", "list the profiles",
     "Lists every profile with its id and name, marks the selected one and those the user\n"
     "has changed from the tuning file's defaults.\n",
     nullptr, true, &Controller::cmdProfiles},
    {"profile", "profile select|reset PROFILE", "select a profile, or reset one to its defaults",
     "select: makes PROFILE the selected profile (packed set command 10).\n"
     "reset:  gives PROFILE back the tuning file's defaults (packed set command 12).\n"
     "PROFILE is an id (see 'profiles') or a profile name.\n",
     nullptr, true, &Controller::cmdProfile},
    {"params", "params", "list the parameters get and set accept",
     "Lists the external parameters (ids 101 to 112) with their names, number of values,\n"
     "range and where they are kept. Needs no daemon.\n",
     nullptr, false, &Controller::cmdParams},
    {"get", "get PROFILE PARAM [--port PORT]", "read a parameter of a profile",
     "Reads PARAM of PROFILE. PARAM is an external id (101 to 112) or its name (see\n"
     "'params'). With --port, reads the value of the endpoint the port uses; only\n"
     "per-endpoint parameters have one.\n",
     "port", true, &Controller::cmdGet},
    {"set", "set PROFILE PARAM VALUE... [--port PORT]", "change a parameter of a profile",
     "Writes PARAM of PROFILE through the packed set buffer, waits until the service has\n"
     "applied it and prints what it now holds (out-of-range values are clamped by the\n"
     "service). Give as many values as the parameter has (20 for geq-gains); switches take\n"
     "on/off too. Without --port a per-endpoint parameter changes every endpoint; with\n"
     "--port only the endpoint of that port.\n",
     "port", true, &Controller::cmdSet},
    {"devices", "devices PORT", "list the tuning devices of a port",
     "Lists the tuning devices available on PORT and marks the selected one. PORT is a\n"
     "number or a name: "
     "0 internal_speaker, 1 hdmi, 2 miracast, 3 headphone, 4 bluetooth,\n"
     "5 usb, 6 other.\n",
     nullptr, true, &Controller::cmdDevices},
    {"device", "device PORT [NAME]", "show or select the tuning device of a port",
     "Without NAME shows the tuning device selected on PORT; with NAME selects it, waits\n"
     "until the service has applied the selection and shows the result.\n",
     nullptr, true, &Controller::cmdDevice},
    {"prop", "prop CODE [VALUE]", "read or write an integer property",
     "Reads (getIntParam) or writes (setIntParam) the integer property CODE, a\n"
     "four-character code such as ADEV, CHCT, PEXO, DCCP, DDSA, DHSA, DFSA, DEAM, DECT,\n"
     "LCTP, LCTM, SPKM, SPKP, DTFV (any case), or a number such as 0x41444556. Only DEAM,\n"
     "DECT and RLTF take a value; a code the service does not have is refused.\n",
     nullptr, true, &Controller::cmdProp},
    {"watch", "watch [--count N]", "print every change the service reports",
     "Registers as a client and prints every callback the service makes, decoded (command,\n"
     "profile, parameter, values), until interrupted (Ctrl-C) or, with --count, after N\n"
     "callbacks. The first line says the registration is in place. With --json every line\n"
     "is one JSON document carrying the raw bytes as well.\n",
     "count", true, &Controller::cmdWatch},
    {"effect", "effect", "what the effect reads now",
     "Shows the parameter records the effect reads from the shared parameter store under\n"
     "--root, per device and code, as 'velora-inspect effect' does. Reads the store's file\n"
     "directly; the daemon need not answer.\n",
     nullptr, false, &Controller::cmdEffect},
    {"dump", "dump [ARG...]", "the service's dump",
     "Prints what the service writes for a dump request, with the given arguments.\n", nullptr,
     true, &Controller::cmdDump},
    {"reload-tuning", "reload-tuning", "reload the tuning files",
     "Asks the service to reload the tuning files (setIntParam RLTF) and waits until it\n"
     "reports the reload to its clients.\n",
     nullptr, true, &Controller::cmdReloadTuning},
    {"export", "export [FILE|-]", "write the user's settings as one JSON document",
     "Writes the effect's on/off state, the selected profile, every profile's parameters\n"
     "(profile-wide ones by external id, the per-endpoint ones for the speaker, headphone\n"
     "and other endpoints) and the tuning device of every port as one versioned JSON\n"
     "document, to FILE or to standard output. Parameters are keyed by name; import takes\n"
     "names and external ids.\n",
     nullptr, true, &Controller::cmdExport},
    {"import", "import FILE|-", "apply a document written by export",
     "Applies the settings of FILE through the same calls the settings app makes, reads\n"
     "each one back and lists every item the service did not take as given: a profile,\n"
     "endpoint or tuning device this device does not have, a value out of range that the\n"
     "service clamped. Profiles are matched by name. FILE - reads standard input. Exit\n"
     "status 1 when any item was not applied as given or the document is not one export\n"
     "writes.\n",
     nullptr, true, &Controller::cmdImport},
};

void Controller::defineCommandLine(ArgumentParser& parser, CommandLine* line) {
    CLI::App& app = parser.app();
    app.description(
        "veloractl: talk to velorad, the host's Velora settings service.\n"
        "Finds velorad through --socket, --root, $VELORA_SOCKET, $VELORA_ROOT, or else the\n"
        "default socket " +
        default_socket() +
        ".\n"
        "Exit status: 0 done, 1 refused or failed, 2 bad command line, 3 daemon unreachable,\n"
        "4 applied but not saved (the service cannot save its settings now).");
    parser.setUsage(&app, "veloractl [OPTIONS] COMMAND [ARGS...]");
    app.require_subcommand(1);
    app.add_option("--root", line->root, "the root velorad runs on; its socket is DIR/velorad.sock")
        ->envname("VELORA_ROOT")
        ->type_name("DIR");
    app.add_option("--socket", line->socket, "velorad's socket (instead of the one under --root)")
        ->envname("VELORA_SOCKET")
        ->type_name("PATH");
    app.add_flag("--json", line->json, "machine-readable output: one JSON document per result");
    app.add_option("--timeout", line->timeoutMs, "how long to wait for the daemon (default 5000)")
        ->type_name("MS")
        ->check(CLI::PositiveNumber);
    app.add_option("--uid", line->uid, "uid to register with (default: this process's id)")
        ->type_name("N");
    app.add_option("--type", line->type, "client type to register with (default 0)")
        ->type_name("N");
    for (const Command& command : kCommands) {
        CLI::App* sub = app.add_subcommand(command.name, command.summary);
        sub->footer(command.help);
        sub->fallthrough();
        parser.setUsage(sub, std::string("veloractl [OPTIONS] ") + command.usage);
        sub->add_option("ARGS", line->arguments)->group("");
        const std::string option = command.option ? command.option : "";
        if (option == "port") {
            sub->add_option("--port", line->port, "the port: a number or a name")
                ->type_name("PORT");
        } else if (option == "count") {
            sub->add_option("--count", line->count, "stop after N changes")
                ->type_name("N")
                ->check(CLI::PositiveNumber);
        }
        const std::string name = command.name;
        sub->parse_complete_callback([line, name] { line->command = name; });
    }
    CLI::App* help = app.add_subcommand("help", "this help, or a command's");
    parser.setUsage(help, "veloractl help [COMMAND]");
    help->add_option("COMMAND", line->arguments)->group("");
    help->parse_complete_callback([line, &app] {
        line->command = "help";
        std::vector<CLI::App*> topics;
        if (!line->arguments.empty()) {
            const std::string& name = line->arguments[0];
            topics =
                app.get_subcommands([&name](CLI::App* sub) { return sub->get_name() == name; });
        }
        line->helpText = topics.empty() ? app.help() : topics.front()->help();
    });
}

Controller::Controller(const CommandLine& line, SignalWatcher& signals)
    : mLine(line), mSignals(signals) {}

Controller::~Controller() = default;

const Controller::Command* Controller::findCommand(const std::string& name) {
    for (const Command& command : kCommands) {
        if (name == command.name) return &command;
    }
    return nullptr;
}

void Controller::emit(const Json& json, const std::string& text) const {
    if (mDeferOutput) {
        mPending.emplace_back(json, text);
        return;
    }
    if (mLine.json) {
        std::cout << json_dump(json) << std::endl;
    } else {
        std::cout << text;
        if (!text.empty() && text.back() != '\n') std::cout << '\n';
        std::cout << std::flush;
    }
}

int Controller::failure(ExitStatus status, const std::string& message) const {
    std::cerr << "veloractl: " << message << std::endl;
    if (mLine.json) {
        std::cout << json_dump(
                         Json{{"error", json_text(message)}, {"exit", static_cast<int>(status)}})
                  << std::endl;
    }
    return status;
}

int Controller::usageError() const {
    return failure(EXIT_USAGE, std::string("usage: veloractl ") + mCommand->usage +
                                   " (see 'veloractl " + mCommand->name + " --help')");
}

int Controller::usageError(const std::string& message) const {
    return failure(EXIT_USAGE, message + " (see 'veloractl " + mLine.command + " --help')");
}

int Controller::clientFailure() const {
    return failure(mClient->error().status, mClient->error().message);
}

int Controller::run() {
    if (mLine.command == "help") {
        if (!mLine.arguments.empty() && findCommand(mLine.arguments[0]) == nullptr) {
            return failure(EXIT_USAGE,
                           "no command '" + mLine.arguments[0] + "' (see 'veloractl --help')");
        }
        std::cout << mLine.helpText;
        return EXIT_OK;
    }
    mCommand = findCommand(mLine.command);
    if (mCommand == nullptr)
        return failure(EXIT_USAGE, "no command given (see 'veloractl --help')");
    return (this->*(mCommand->run))();
}

bool Controller::connect() {
    if (!mLine.socket.empty()) {
        mSocketPath = mLine.socket;
        mSocketOrigin = "--socket or $VELORA_SOCKET";
    } else if (!mLine.root.empty()) {
        mSocketPath = mLine.root + "/velorad.sock";
        mSocketOrigin = "the root from --root or $VELORA_ROOT";
    } else {
        mSocketPath = default_socket();
        mSocketOrigin =
            "the default socket; --root DIR, --socket PATH or $VELORA_ROOT say "
            "where else";
    }
    mClient =
        std::make_unique<VeloraClient>(mSocketPath, std::chrono::milliseconds(mLine.timeoutMs));
    if (mClient->checkSocket()) return true;
    mClient->fail(mClient->error().status, mClient->error().message + " (" + mSocketOrigin + ")");
    return false;
}

std::optional<SessionGuard> Controller::openSession() {
    if (!mClient && !connect()) return std::nullopt;
    mRegistration = std::make_unique<Registration>(*mClient);
    const uint32_t uid = mLine.uid ? *mLine.uid : static_cast<uint32_t>(getpid());
    // What a command prints waits for the end of the session: the service saves when a client
    // unregisters, so a change is reported with what became of its save.
    mDeferOutput = true;
    SessionGuard guard([this](int status) { return closeSession(status); });
    if (!mRegistration->start(mLine.type, uid)) return std::nullopt;
    return guard;
}

int Controller::closeSession(int status) {
    // A command that failed keeps its own error; the unregistration's is the one to tell only
    // when nothing else went wrong.
    const CallError before = mClient->error();
    const bool stopped = !mRegistration || mRegistration->stop();
    const CallError after = mClient->error();
    if (status != EXIT_OK) mClient->fail(before.status, before.message);
    mRegistration.reset();
    mDeferOutput = false;
    std::vector<std::pair<Json, std::string>> pending;
    pending.swap(mPending);
    if (!stopped && after.code != grpc::StatusCode::INTERNAL) {
        // No answer at all: nothing is known of the change or its save.
        return status == EXIT_OK ? failure(after.status, after.message) : status;
    }
    for (const auto& [json, text] : pending) emit(json, text);
    if (stopped) return status;
    // The service let the client go but could not save: what was read is still true, what was
    // changed holds until the service stops.
    if (mChanged) {
        std::cerr << "veloractl: applied, but not saved: " << after.message << std::endl;
        return status == EXIT_OK ? EXIT_NOT_SAVED : status;
    }
    std::cerr << "veloractl: note: the service cannot save its settings now: " << after.message
              << std::endl;
    return status;
}

bool Controller::profileCount(int* count) {
    return mClient->getPackedInt(kGetProfileCount, 0, count);
}

bool Controller::resolveProfile(const std::string& text, int* profile, std::string* name) {
    int count = 0;
    if (!profileCount(&count)) return false;
    int number = 0;
    const bool numeric = parse_int(text, &number);
    std::string known;
    for (int id = 0; id < count; ++id) {
        std::string profileName;
        if (!mClient->getProfileName(id, &profileName)) return false;
        if ((numeric && id == number) ||
            (!numeric && lower_case(profileName) == lower_case(text))) {
            *profile = id;
            *name = profileName;
            return true;
        }
        known += (known.empty() ? "" : ", ") + std::to_string(id) + " " + profileName;
    }
    mClient->fail(EXIT_REFUSED, "no profile '" + text + "' (profiles: " + known + ")");
    return false;
}

bool Controller::applyAndWait(const std::string& buffer, std::string* echo) {
    int result = 0;
    mChanged = true;
    if (!mClient->setPexParam(buffer, &result)) return false;
    if (result != 0) {
        mClient->fail(EXIT_REFUSED, "setPexParam refused: " + mClient->describe(result));
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + mClient->timeout();
    std::string update;
    for (;;) {
        switch (mRegistration->next(deadline, &update)) {
            case Registration::Next::Buffer:
                if (is_applied_echo(buffer, update)) {
                    *echo = update;
                    return true;
                }
                break;
            case Registration::Next::Ended:
                mClient->fail("registration", mRegistration->endStatus());
                return false;
            case Registration::Next::TimedOut:
            case Registration::Next::Interrupted:
                mClient->fail(EXIT_UNREACHABLE, "the service did not report the change in time");
                return false;
        }
    }
}

bool Controller::waitForUpdate(const std::string& bytes, ExitStatus lateStatus,
                               const std::string& late) {
    const auto deadline = std::chrono::steady_clock::now() + mClient->timeout();
    std::string update;
    for (;;) {
        switch (mRegistration->next(deadline, &update)) {
            case Registration::Next::Buffer:
                if (update == bytes) return true;
                break;
            case Registration::Next::Ended:
                mClient->fail("registration", mRegistration->endStatus());
                return false;
            case Registration::Next::TimedOut:
            case Registration::Next::Interrupted:
                mClient->fail(lateStatus, late);
                return false;
        }
    }
}

}  // namespace velora
