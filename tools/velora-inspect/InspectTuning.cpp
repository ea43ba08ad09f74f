/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/velora-inspect/InspectTuning.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <sstream>
#include <tuple>

#include "model/Endpoint.h"
#include "model/PresetType.h"
#include "tools/common/ArgumentParser.h"
#include "tuning/DeviceData.h"
#include "tuning/TuningFileParser.h"

namespace velora::inspect {

namespace {

// One record ready to print: the heading that names it by its key, its storage form, and the
// key it is sorted by. The storage form breaks ties between equal keys (a file may list one
// tuning name twice), so the order never depends on where the records sit in memory.
struct Entry {
    std::string sortKey;
    std::string heading;
    std::string text;
};

// Zero-padded so that numbers sort as numbers inside a text key.
std::string number_key(long long value) {
    char buffer[32];
    std::snprintf(buffer, sizeof(buffer), "%020lld", value + (1LL << 40));
    return buffer;
}

template <typename Record>
void print_section(std::ostream& out, const char* kind, const std::set<Record*>& records,
                   const std::function<Entry(const Record&)>& describe) {
    std::vector<Entry> entries;
    entries.reserve(records.size());
    for (const Record* record : records) entries.push_back(describe(*record));
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        return std::tie(a.sortKey, a.text) < std::tie(b.sortKey, b.text);
    });
    for (const Entry& entry : entries) {
        out << "\n[" << kind << " " << entry.heading << "]\n" << entry.text;
        if (entry.text.empty() || entry.text.back() != '\n') out << '\n';
    }
}

}  // namespace

int inspect_tuning(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    bool validated = false;
    std::string path;
    ArgumentParser arguments("velora-inspect tuning", kTuningSubcommand.help);
    CLI::App& app = arguments.app();
    app.add_flag("--validated", validated,
                 "apply the start-up consistency rule first: a profile whose IEQ is disabled "
                 "selects the \"off\" preset");
    app.add_option("FILE", path, "the tuning file (- for standard input)")->required();
    if (auto status = arguments.parse(args, out, err)) return *status;
    path = ArgumentParser::inputPath(path);

    // The reader only says that a file is no XML; the usual reasons are told apart here.
    struct stat info;
    if (stat(path.c_str(), &info) != 0) {
        err << "velora-inspect: cannot read " << path << ": " << std::strerror(errno) << "\n";
        return kExitFailed;
    }
    if (S_ISDIR(info.st_mode)) {
        err << "velora-inspect: cannot read " << path << ": " << std::strerror(EISDIR) << "\n";
        return kExitFailed;
    }

    TuningFileParser parser;
    int result = parser.setTuningFile(path);
    DeviceData* data = parser.getDeviceData();
    if (result != 0 || data == nullptr) {
        err << "velora-inspect: " << path << " is not a readable tuning file (error " << result
            << "); the reader's log lines above say why\n";
        return kExitFailed;
    }
    if (validated) data->validateData();

    out << "file=" << path << "\n";
    out << "format_version=" << data->getFormatVersion() << "\n";
    out << "tool_version=" << data->getToolVersion() << "\n";
    if (validated) out << "validated=true\n";

    print_section<IeqPreset>(out, "ieq_preset", data->getIeqPresets(), [](const IeqPreset& r) {
        return Entry{number_key(r.getType()), "type=" + preset_type_name(r.getType()),
                     r.toString()};
    });
    print_section<GeqPreset>(out, "geq_preset", data->getGeqPresets(), [](const GeqPreset& r) {
        return Entry{number_key(r.getProfileId()), "profileId=" + std::to_string(r.getProfileId()),
                     r.toString()};
    });
    print_section<Profile>(out, "profile", data->getProfiles(), [](const Profile& r) {
        return Entry{number_key(r.getProfileId()) + r.getName(),
                     "profileId=" + std::to_string(r.getProfileId()) + " name=" + r.getName(),
                     r.toString()};
    });
    print_section<ProfileEndpoint>(
        out, "profile_endpoint", data->getProfileEndpoints(), [](const ProfileEndpoint& r) {
            return Entry{number_key(r.getProfileId()) + number_key(r.getEndpoint()),
                         "profileId=" + std::to_string(r.getProfileId()) +
                             " endpoint=" + endpoint_name(r.getEndpoint()),
                         r.toString()};
        });
    print_section<Tuning>(out, "tuning", data->getTunings(), [](const Tuning& r) {
        return Entry{r.getName() + '\0' + number_key(r.getEndpoint()), "name=" + r.getName(),
                     r.toString()};
    });
    print_section<DeviceTuning>(
        out, "device_tuning", data->getDeviceTunings(), [](const DeviceTuning& r) {
            return Entry{r.getDevice() + '\0' + r.getPort() + '\0' + r.getTuning(),
                         "device=" + r.getDevice() + " port=" + r.getPort(), r.toString()};
        });

    out << "\nsummary: " << data->getIeqPresets().size() << " ieq presets, "
        << data->getGeqPresets().size() << " geq presets, " << data->getProfiles().size()
        << " profiles, " << data->getProfileEndpoints().size() << " profile endpoints, "
        << data->getTunings().size() << " tunings, " << data->getDeviceTunings().size()
        << " device tunings\n";
    return kExitOk;
}

const Subcommand kTuningSubcommand = {
    "tuning",
    "[--validated] FILE",
    "read a tuning file and print what the service would take from it",
    "Reads FILE with the service's tuning-file reader and prints the format and tool\n"
    "versions, then every record in its storage form (the text the settings database\n"
    "keeps), sorted by kind and key: IEQ presets by type, GEQ presets and profiles by\n"
    "profile id, profile endpoints by profile and endpoint, tunings by name, device\n"
    "tunings by device, port and tuning. A summary of counts ends the output.\n"
    "\n"
    "Records the reader drops (a tuning without a data block, a section whose layout is\n"
    "broken) are missing from the output; the reader's log lines on standard error say\n"
    "which and why.\n"
    "\n"
    "Exit status: 0 when the file was read, 1 when it could not be read, 2 on a usage\n"
    "error.\n",
    &inspect_tuning,
};

}  // namespace velora::inspect
