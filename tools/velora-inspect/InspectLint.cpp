/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/velora-inspect/InspectLint.h"

#include <android/log.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <set>
#include <tuple>
#include <utility>

#include "context/OemMergeRules.h"
#include "model/Parameter.h"
#include "model/Port.h"
#include "tools/common/ArgumentParser.h"
#include "tools/common/Json.h"
#include "tuning/DeviceData.h"
#include "tuning/TuningDiagnostics.h"
#include "tuning/TuningFileParser.h"

namespace velora::inspect {

namespace {

using Severity = TuningDiagnostics::Severity;

struct Finding {
    std::string file;
    long line;
    Severity severity;
    std::string message;
};

// Collects the reader's reports for one file and the lines its records came from.
class FindingCollector : public TuningDiagnostics {
  public:
    FindingCollector(std::string file, std::vector<Finding>* findings)
        : mFile(std::move(file)), mFindings(findings) {}

    void report(Severity severity, long line, const std::string& message) override {
        mFindings->push_back({mFile, line, severity, message});
    }
    void recordRead(const void* record, long line) override { mLines[record] = line; }
    void formatVersionRead(long line) override {
        mFormatVersionLines.insert(
            std::upper_bound(mFormatVersionLines.begin(), mFormatVersionLines.end(), line), line);
    }

    long lineOf(const void* record) const {
        auto it = mLines.find(record);
        return it != mLines.end() ? it->second : 0;
    }
    // The line of the format version the reader kept: the last element of its kind.
    long formatVersionLine() const {
        return mFormatVersionLines.empty() ? 0 : mFormatVersionLines.back();
    }
    const std::vector<long>& formatVersionLines() const { return mFormatVersionLines; }

  private:
    std::string mFile;
    std::vector<Finding>* mFindings;
    std::map<const void*, long> mLines;
    std::vector<long> mFormatVersionLines;
};

// What a file lacks for its use, and versions given more than once. The default file must
// give the service profiles, tunings and a format version; the OEM file a format version to
// be compared and tunings to add.
void check_completeness(DeviceData& data, FindingCollector& file, bool oem) {
    const std::vector<long>& versions = file.formatVersionLines();
    if (versions.empty()) {
        file.report(Severity::kError, 0,
                    oem ? "no <format_version>: the OEM file is merged only when its version "
                          "equals the default file's"
                        : "no <format_version>: the service stores an empty format version and "
                          "merges no OEM file");
    } else if (versions.size() > 1) {
        std::string lines;
        for (long line : versions) lines += (lines.empty() ? "" : ", ") + std::to_string(line);
        file.report(Severity::kWarning, versions.back(),
                    "<format_version> is given " + std::to_string(versions.size()) +
                        " times (lines " + lines + "); the last one is read: '" +
                        data.getFormatVersion() + "'");
    }
    if (!oem && data.getProfiles().empty()) {
        file.report(Severity::kError, 0,
                    "no profile: the service cannot start from this file (it holds no profile)");
    }
    if (data.getTunings().empty()) {
        file.report(oem ? Severity::kWarning : Severity::kError, 0,
                    oem ? "no tuning: the OEM file adds nothing"
                        : "no tuning: no port has a tuning to select");
    }
}

// A finding's kind: its message without the numbers and quoted names in it, so that a
// finding repeated over many bands or records is one kind.
std::string kind_of(const Finding& finding) {
    std::string kind = finding.file + '\n' + (finding.severity == Severity::kError ? "e" : "w");
    bool quoted = false;
    for (char c : finding.message) {
        if (c == '\'') {
            quoted = !quoted;
            kind += c;
        } else if (!quoted && !(c >= '0' && c <= '9')) {
            kind += c;
        }
    }
    return kind;
}

// Findings across the records of one file, in file order.
void check_records(DeviceData& data, FindingCollector& file) {
    auto warn = [&file](const void* record, const std::string& message) {
        file.report(Severity::kWarning, file.lineOf(record), message);
    };
    auto by_line = [&file](auto records) {
        std::vector<typename decltype(records)::value_type> sorted(records.begin(), records.end());
        std::sort(sorted.begin(), sorted.end(),
                  [&file](auto a, auto b) { return file.lineOf(a) < file.lineOf(b); });
        return sorted;
    };

    std::map<int, const Profile*> profiles;
    for (const Profile* profile : by_line(data.getProfiles())) {
        auto [it, added] = profiles.emplace(profile->getProfileId(), profile);
        if (!added) {
            warn(profile, "profile id " + std::to_string(profile->getProfileId()) +
                              " is also given at line " + std::to_string(file.lineOf(it->second)) +
                              "; clients address profiles by id, so only one of them is used");
        }
        if (!profile->has(ieq_enable) || profile->getValues().at(ieq_enable).empty()) {
            warn(profile, "profile " + std::to_string(profile->getProfileId()) + " [" +
                              profile->getName() +
                              "] has no <ieq-enable>: it starts with the IEQ preset off");
        }
    }
    std::map<int, const IeqPreset*> ieqTypes;
    for (const IeqPreset* preset : by_line(data.getIeqPresets())) {
        auto [it, added] = ieqTypes.emplace(preset->getType(), preset);
        if (!added) {
            warn(preset, "a second IEQ preset of type " + preset_type_name(preset->getType()) +
                             " (the first at line " + std::to_string(file.lineOf(it->second)) +
                             "); presets are chosen by type, so only one of them is used");
        }
    }
    std::map<int, const GeqPreset*> geqProfiles;
    for (const GeqPreset* preset : by_line(data.getGeqPresets())) {
        auto [it, added] = geqProfiles.emplace(preset->getProfileId(), preset);
        if (!added) {
            warn(preset, "a second GEQ preset for profile " +
                             std::to_string(preset->getProfileId()) + " (the first at line " +
                             std::to_string(file.lineOf(it->second)) + "); only one is used");
        } else if (!profiles.empty() && profiles.count(preset->getProfileId()) == 0) {
            warn(preset, "GEQ preset for profile " + std::to_string(preset->getProfileId()) +
                             ", which this file does not define; unused");
        }
    }
    std::map<std::string, const Tuning*> tunings;
    for (const Tuning* tuning : by_line(data.getTunings())) {
        auto [it, added] = tunings.emplace(tuning->getName(), tuning);
        if (!added) {
            warn(tuning, "tuning '" + tuning->getName() + "' is also given at line " +
                             std::to_string(file.lineOf(it->second)) +
                             "; devices select tunings by name, so only one of them is used");
        }
    }
    std::map<std::string, const DeviceTuning*> devices;
    for (const DeviceTuning* device : by_line(data.getDeviceTunings())) {
        auto [it, added] = devices.emplace(device->getDevice(), device);
        if (!added) {
            warn(device, "device '" + device->getDevice() + "' is also given at line " +
                             std::to_string(file.lineOf(it->second)) +
                             "; a device is selected by name, so only one of them is used");
        }
        if (tunings.count(device->getTuning()) == 0) {
            warn(device, "device '" + device->getDevice() + "' names tuning '" +
                             device->getTuning() +
                             "', which this file does not provide (missing or dropped); the "
                             "device selects no tuning");
        }
        bool knownPort = false;
        for (const char* port : kPortNames) knownPort = knownPort || device->getPort() == port;
        if (!knownPort) {
            warn(device, "device '" + device->getDevice() + "': endpoint_port '" +
                             device->getPort() + "' is no port; the device is never offered");
        }
    }
}

// What the OEM merge does with the OEM file's entries against the default file.
void check_oem(DeviceData& defaults, DeviceData& oem, FindingCollector& oemFile) {
    auto error = [&oemFile](long line, const std::string& message) {
        oemFile.report(Severity::kError, line, message);
    };
    if (oem.getFormatVersion() != defaults.getFormatVersion()) {
        error(oemFile.formatVersionLine(), "OEM format version '" + oem.getFormatVersion() +
                                               "' differs from the default "
                                               "file's '" +
                                               defaults.getFormatVersion() +
                                               "'; the whole OEM file is not merged");
        return;
    }
    if (!oem.getProfiles().empty() || !oem.getIeqPresets().empty() ||
        !oem.getGeqPresets().empty()) {
        oemFile.report(Severity::kWarning, 0,
                       "the OEM file's presets and profiles are not merged; only its tunings "
                       "and devices are");
    }
    std::set<std::string> defaultTunings;
    for (const Tuning* tuning : defaults.getTunings()) defaultTunings.insert(tuning->getName());
    std::set<std::string> defaultDevices;
    for (const DeviceTuning* device : defaults.getDeviceTunings()) {
        defaultDevices.insert(device->getDevice());
    }
    OemMergeRules rules(std::move(defaultTunings), std::move(defaultDevices));
    for (const Tuning* tuning : oem.getTunings()) {
        if (rules.judge(*tuning) != OemMergeRules::kKeep) {
            error(oemFile.lineOf(tuning),
                  "OEM tuning '" + tuning->getName() + "' exists in the default file; dropped");
        }
    }
    for (const DeviceTuning* device : oem.getDeviceTunings()) {
        const OemMergeRules::Verdict verdict = rules.judge(*device);
        if (verdict == OemMergeRules::kDroppedWithTuning) {
            error(oemFile.lineOf(device), "OEM device '" + device->getDevice() +
                                              "' is dropped with its tuning '" +
                                              device->getTuning() + "'");
        } else if (verdict == OemMergeRules::kDeviceInDefaults) {
            error(oemFile.lineOf(device),
                  "OEM device '" + device->getDevice() + "' exists in the default file; dropped");
        }
    }
}

void discard_log(const __android_logger_data*, const char*) {}

// False, with the system's own reason as a finding, when the file cannot be opened at all.
bool openable(const std::string& path, FindingCollector& file) {
    const int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) {
        file.report(Severity::kError, 0, std::string("cannot open: ") + std::strerror(errno));
        return false;
    }
    struct stat info;
    const bool folder = fstat(fd, &info) == 0 && S_ISDIR(info.st_mode);
    close(fd);
    if (folder)
        file.report(Severity::kError, 0, std::string("cannot read: ") + std::strerror(EISDIR));
    return !folder;
}

}  // namespace

int inspect_lint(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    std::string path;
    std::string oemPath;
    bool strict = false;
    bool json = false;
    ArgumentParser arguments("velora-inspect lint", kLintSubcommand.help);
    CLI::App& app = arguments.app();
    app.add_option("FILE", path, "the tuning file (- for standard input)")->required();
    app.add_option("--oem", oemPath,
                   "also the OEM extra file: its own findings and the entries the merge drops "
                   "because they clash with the default file")
        ->type_name("FILE");
    app.add_flag("--strict", strict, "exit 1 on warnings too");
    app.add_flag("--json", json, "one JSON document: findings, errors, warnings");
    if (auto status = arguments.parse(args, out, err)) return *status;
    path = ArgumentParser::inputPath(path);
    oemPath = oemPath.empty() ? oemPath : ArgumentParser::inputPath(oemPath);

    // Every finding says what the log lines would; the log itself is left out.
    __android_log_set_logger(&discard_log);
    std::vector<Finding> findings;
    FindingCollector defaults(path, &findings);
    TuningFileParser parser;
    parser.setDiagnostics(&defaults);
    const bool readable = openable(path, defaults) && parser.setTuningFile(path) == 0 &&
                          parser.getDeviceData() != nullptr;
    if (readable) {
        check_records(*parser.getDeviceData(), defaults);
        check_completeness(*parser.getDeviceData(), defaults, /*oem=*/false);
    }
    if (!oemPath.empty()) {
        FindingCollector oem(oemPath, &findings);
        TuningFileParser oemParser;
        oemParser.setDiagnostics(&oem);
        if (openable(oemPath, oem) && oemParser.setTuningFile(oemPath) == 0 &&
            oemParser.getDeviceData() != nullptr) {
            check_records(*oemParser.getDeviceData(), oem);
            check_completeness(*oemParser.getDeviceData(), oem, /*oem=*/true);
            if (readable) check_oem(*parser.getDeviceData(), *oemParser.getDeviceData(), oem);
        }
    }

    std::stable_sort(findings.begin(), findings.end(), [&](const Finding& a, const Finding& b) {
        return std::make_tuple(a.file != path, a.file, a.line) <
               std::make_tuple(b.file != path, b.file, b.line);
    });
    // The first few findings of a kind are shown; the rest are counted with their first lines.
    constexpr size_t kShownPerKind = 3;
    constexpr size_t kLinesListed = 10;
    std::map<std::string, std::vector<const Finding*>> kinds;
    for (const Finding& finding : findings) kinds[kind_of(finding)].push_back(&finding);
    std::map<std::string, size_t> seen;
    int errors = 0;
    int warnings = 0;
    Json list = Json::array();
    for (const Finding& finding : findings) {
        const bool isError = finding.severity == Severity::kError;
        (isError ? errors : warnings)++;
        const std::string kind = kind_of(finding);
        const std::vector<const Finding*>& same = kinds[kind];
        const size_t index = seen[kind]++;
        if (index > kShownPerKind) continue;
        const char* severity = isError ? "error" : "warning";
        if (index == kShownPerKind) {
            std::string lines;
            for (size_t i = index; i < same.size() && i < index + kLinesListed; ++i) {
                lines += (lines.empty() ? "" : ", ") + std::to_string(same[i]->line);
            }
            if (same.size() > index + kLinesListed) lines += ", ...";
            const std::string message = std::to_string(same.size() - index) + " more like the " +
                                        severity + " above (lines " + lines + ")";
            if (json) {
                list.push_back(Json{{"file", json_text(finding.file)},
                                    {"line", finding.line},
                                    {"severity", severity},
                                    {"message", json_text(message)},
                                    {"count", same.size() - index}});
            } else {
                out << finding.file << ":" << finding.line << ": " << severity << ": " << message
                    << "\n";
            }
            continue;
        }
        if (json) {
            list.push_back(Json{{"file", json_text(finding.file)},
                                {"line", finding.line},
                                {"severity", severity},
                                {"message", json_text(finding.message)}});
        } else {
            out << finding.file << ":" << finding.line << ": " << severity << ": "
                << finding.message << "\n";
        }
    }
    if (json) {
        out << json_dump(Json{{"findings", list}, {"errors", errors}, {"warnings", warnings}})
            << "\n";
    }
    return errors > 0 || (strict && warnings > 0) ? kExitFailed : kExitOk;
}

const Subcommand kLintSubcommand = {
    "lint",
    "FILE [--oem FILE] [--strict] [--json]",
    "say what the service will do with every doubtful part of a tuning file",
    "Reads FILE with the service's own reader and prints, as FILE:LINE: severity: message,\n"
    "everything the reader does not take as it stands and what the service does with it:\n"
    "sections dropped and why, elements taken by their position, elements and attributes\n"
    "that are ignored, values read as something else (no number, beyond 32 bits),\n"
    "preset names that name no preset, profiles without <ieq-enable> (they start with the\n"
    "IEQ preset off), duplicate profile ids, tunings and devices, and devices that name a\n"
    "tuning the file does not provide.\n"
    "\n"
    "Exit status: 0 clean (or only warnings without --strict), 1 errors (a section\n"
    "dropped, a file not readable) or warnings under --strict, 2 a usage error.\n",
    &inspect_lint,
};

}  // namespace velora::inspect
