/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tools/common/ExitStatus.h"
#include "tools/common/Json.h"
#include "tools/veloractl/CommandLine.h"
#include "tools/veloractl/ExternalParameter.h"
#include "tools/veloractl/SessionGuard.h"
#include "tools/veloractl/SignalWatcher.h"
#include "tools/veloractl/UpdateDecoder.h"
#include "tools/veloractl/VeloraClient.h"

namespace velora {

class ArgumentParser;

// Runs one veloractl command against velorad. Each command that talks to the daemon registers
// as a client for its duration, as the settings app does: the registration starts the service
// if no one has yet, and its callbacks tell the command when a write has been applied. Writes
// go through the packed set buffer and are confirmed by their callback before the command reads
// the result back, so what it prints is what the service now holds.
//
// The commands live in one source file per family: settings (ControllerSettings), the
// service's devices and properties (ControllerService), export and import (ControllerTransfer).
class Controller {
  public:
    // Declares every command of the table, with its usage and help, on the parser; parsing
    // fills `line`.
    static void defineCommandLine(ArgumentParser& parser, CommandLine* line);

    Controller(const CommandLine& line, SignalWatcher& signals);
    ~Controller();

    // The exit status of the command (ExitStatus).
    int run();

  private:
    struct Command {
        const char* name;
        const char* usage;  // the words after "veloractl"
        const char* summary;
        const char* help;
        const char* option;  // its own option beyond the common ones, or null
        bool needsDaemon;
        int (Controller::*run)();
    };
    static const Command kCommands[];

    static const Command* findCommand(const std::string& name);

    // Output: one JSON document per result with --json, text otherwise. While a session is
    // open the output is held back until the session has ended.
    void emit(const Json& json, const std::string& text) const;
    // "usage: veloractl <the command's usage>", exit status 2.
    int usageError() const;
    int usageError(const std::string& message) const;
    int failure(ExitStatus status, const std::string& message) const;
    int clientFailure() const;

    bool connect();
    // Registers; the guard unregisters when the command ends. Empty when the registration
    // failed (the client's error says why).
    std::optional<SessionGuard> openSession();
    int closeSession(int status);

    bool resolveProfile(const std::string& text, int* profile, std::string* name);
    bool profileCount(int* count);
    // Sends a set buffer and waits for the callback that reports it applied.
    bool applyAndWait(const std::string& buffer, std::string* echo);
    // Waits for a callback with exactly these bytes; when none comes in time, fails with
    // `late` and its status.
    bool waitForUpdate(const std::string& bytes, ExitStatus lateStatus, const std::string& late);

    int cmdStatus();
    int cmdOn();
    int cmdOff();
    int switchEffect(bool on);
    int cmdProfiles();
    int cmdProfile();
    int cmdParams();
    int parseParameterAndPort(const ExternalParameter** parameter, int* port) const;
    std::optional<SessionGuard> openProfileSession(int port, int* profile, std::string* name);
    // The values of an external parameter as the service holds them now.
    bool readParameter(int profile, int port, const ExternalParameter& parameter,
                       std::vector<int>* values);
    int cmdGet();
    int cmdSet();
    // The user's settings as one document, and back.
    bool exportSettings(Json* document);
    bool importParameter(int profile, const std::string& profileName, int port,
                         const ExternalParameter& parameter, const Json& json,
                         std::vector<std::string>* problems);
    int cmdExport();
    int cmdImport();
    int cmdDevices();
    int cmdDevice();
    int cmdProp();
    int cmdWatch();
    // Adds to a change the profile and port it concerns where its bytes do not say them.
    void nameProfileAndPort(DecodedUpdate* decoded);
    int cmdEffect();
    int cmdDump();
    int cmdReloadTuning();

    const CommandLine& mLine;
    SignalWatcher& mSignals;
    const Command* mCommand = nullptr;
    std::string mSocketPath;
    std::string mSocketOrigin;  // how the socket was found, for messages
    std::unique_ptr<VeloraClient> mClient;
    std::unique_ptr<Registration> mRegistration;
    bool mDeferOutput = false;
    bool mChanged = false;  // a write was sent in this session
    mutable std::vector<std::pair<Json, std::string>> mPending;
};

}  // namespace velora
