/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tools/common/Json.h"
#include "tools/veloractl/CommandLine.h"
#include "tools/veloractl/ExternalParameter.h"
#include "tools/veloractl/SignalWatcher.h"
#include "tools/veloractl/VeloraClient.h"

namespace velora {

// Runs one veloractl command against velorad. Each command that talks to the daemon registers
// as a client for its duration, as the settings app does: the registration starts the service
// if no one has yet, and its callbacks tell the command when a write has been applied. Writes
// go through the packed set buffer and are confirmed by their callback before the command reads
// the result back, so what it prints is what the service now holds.
class Controller {
  public:
    Controller(const CommandLine& line, SignalWatcher& signals);
    ~Controller();

    // The exit status of the command (ExitStatus).
    int run();

  private:
    struct Command {
        const char* name;
        const char* usage;
        const char* summary;
        const char* help;
        std::vector<std::string> options;  // beyond the common ones
        bool needsDaemon;
        int (Controller::*run)();
    };
    static const Command kCommands[];

    static const Command* findCommand(const std::string& name);
    void printUsage(std::ostream& out) const;
    void printCommandHelp(const Command& command) const;

    // Output: one JSON document per result with --json, text otherwise. While a session is
    // open the output is held back until closeSession() has seen the unregistration succeed.
    void emit(const Json& json, const std::string& text) const;
    int usageError(const std::string& message) const;
    int failure(ExitStatus status, const std::string& message) const;
    int clientFailure() const;

    bool connect();
    bool openSession();
    int closeSession(int status);

    bool resolveProfile(const std::string& text, int* profile, std::string* name);
    bool profileCount(int* count);
    // Sends a set buffer and waits for the callback that reports it applied.
    bool applyAndWait(const std::string& buffer, std::string* echo);
    // Waits for a callback with exactly these bytes.
    bool waitForUpdate(const std::string& bytes);

    int cmdStatus();
    int cmdOn();
    int cmdOff();
    int switchEffect(bool on);
    int cmdProfiles();
    int cmdProfile();
    int cmdParams();
    int parseParameterAndPort(const ExternalParameter** parameter, int* port) const;
    int openProfileSession(int port, int* profile, std::string* name);
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
    int cmdEffect();
    int cmdDump();
    int cmdReloadTuning();
    int cmdHelp();

    const CommandLine& mLine;
    SignalWatcher& mSignals;
    std::string mSocketPath;
    std::unique_ptr<VeloraClient> mClient;
    std::unique_ptr<Registration> mRegistration;
    bool mDeferOutput = false;
    bool mChanged = false;  // a write was sent in this session
    mutable std::vector<std::pair<Json, std::string>> mPending;
};

}  // namespace velora
