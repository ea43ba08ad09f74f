/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/velora-inspect/InspectPlot.h"

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>

#include "common/SystemPaths.h"
#include "model/Port.h"
#include "store/Provider.h"
#include "tuning/DeviceData.h"
#include "tuning/TuningFileParser.h"

namespace velora::inspect {

namespace {

// Gains, targets and thresholds are kept in 1/16 dB, frequencies in Hz.
constexpr double kStepsPerDb = 16.0;
constexpr double kMinHz = 20.0;
constexpr double kMaxHz = 20000.0;
constexpr int kWidth = 860;
constexpr int kPanelHeight = 280;
constexpr int kLeft = 70;
constexpr int kRight = 150;
constexpr int kTop = 40;
constexpr int kBottom = 50;
const char* const kColours[] = {"#1f77b4", "#d62728", "#2ca02c", "#9467bd"};

struct Series {
    std::string name;
    std::vector<int> values;  // as stored, one per frequency
};

struct Panel {
    std::string title;
    std::vector<int> frequencies;
    std::vector<Series> series;
};

std::string escape(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '&':
                out += "&amp;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.1f", value);
    return text;
}

std::string hz_label(double hz) {
    if (hz >= 1000) return number(hz / 1000).substr(0, number(hz / 1000).find(".0")) + " kHz";
    return std::to_string(static_cast<int>(hz)) + " Hz";
}

// One panel at vertical offset `top`: log frequency axis, dB axis, one line per series and
// every point with its stored value as a tooltip.
void draw_panel(std::ostream& svg, const Panel& panel, int top) {
    const int plotWidth = kWidth - kLeft - kRight;
    const int plotHeight = kPanelHeight - kTop - kBottom;
    double low = 0;
    double high = 0;
    for (const Series& series : panel.series) {
        for (int value : series.values) {
            low = std::min(low, value / kStepsPerDb);
            high = std::max(high, value / kStepsPerDb);
        }
    }
    const double step = std::max(1.0, std::ceil((high - low) / 6.0));
    low = std::floor(low / step) * step - step;
    high = std::ceil(high / step) * step + step;
    auto x = [&](double hz) {
        hz = std::clamp(hz, kMinHz, kMaxHz);
        return kLeft + plotWidth * std::log10(hz / kMinHz) / std::log10(kMaxHz / kMinHz);
    };
    auto y = [&](double db) { return top + kTop + plotHeight * (high - db) / (high - low); };

    svg << "<g>\n<text x=\"" << kLeft << "\" y=\"" << top + 24
        << "\" font-size=\"15\" font-weight=\"bold\">" << escape(panel.title) << "</text>\n";
    svg << "<rect x=\"" << kLeft << "\" y=\"" << top + kTop << "\" width=\"" << plotWidth
        << "\" height=\"" << plotHeight << "\" fill=\"none\" stroke=\"#444\"/>\n";
    for (double hz : {20.0, 50.0, 100.0, 200.0, 500.0, 1000.0, 2000.0, 5000.0, 10000.0, 20000.0}) {
        svg << "<line x1=\"" << number(x(hz)) << "\" x2=\"" << number(x(hz)) << "\" y1=\""
            << top + kTop << "\" y2=\"" << top + kTop + plotHeight
            << "\" stroke=\"#ddd\"/>\n<text x=\"" << number(x(hz)) << "\" y=\""
            << top + kTop + plotHeight + 16 << "\" font-size=\"11\" text-anchor=\"middle\">"
            << hz_label(hz) << "</text>\n";
    }
    for (double db = low; db <= high + 1e-9; db += step) {
        svg << "<line x1=\"" << kLeft << "\" x2=\"" << kLeft + plotWidth << "\" y1=\""
            << number(y(db)) << "\" y2=\"" << number(y(db)) << "\" stroke=\""
            << (db == 0 ? "#999" : "#eee") << "\"/>\n<text x=\"" << kLeft - 6 << "\" y=\""
            << number(y(db) + 4) << "\" font-size=\"11\" text-anchor=\"end\">" << number(db)
            << "</text>\n";
    }
    svg << "<text x=\"" << kLeft + plotWidth / 2 << "\" y=\"" << top + kPanelHeight - 10
        << "\" font-size=\"12\" text-anchor=\"middle\">frequency (Hz, logarithmic)</text>\n";
    svg << "<text transform=\"translate(18," << top + kTop + plotHeight / 2
        << ") rotate(-90)\" font-size=\"12\" text-anchor=\"middle\">level (dB)</text>\n";
    for (size_t s = 0; s < panel.series.size(); ++s) {
        const Series& series = panel.series[s];
        const char* colour = kColours[s % 4];
        const size_t count = std::min(series.values.size(), panel.frequencies.size());
        std::string points;
        std::string dots;
        for (size_t i = 0; i < count; ++i) {
            const double px = x(panel.frequencies[i]);
            const double py = y(series.values[i] / kStepsPerDb);
            points += number(px) + "," + number(py) + " ";
            dots += "<circle cx=\"" + number(px) + "\" cy=\"" + number(py) +
                    "\" r=\"2.5\" fill=\"" + colour + "\"><title>" + escape(series.name) + " " +
                    std::to_string(panel.frequencies[i]) +
                    " Hz: " + std::to_string(series.values[i]) + " (" +
                    number(series.values[i] / kStepsPerDb) + " dB)</title></circle>\n";
        }
        svg << "<polyline fill=\"none\" stroke=\"" << colour << "\" stroke-width=\"1.8\" points=\""
            << points << "\"/>\n"
            << dots;
        const int legendY = top + kTop + 14 + static_cast<int>(s) * 18;
        svg << "<line x1=\"" << kLeft + plotWidth + 12 << "\" x2=\"" << kLeft + plotWidth + 32
            << "\" y1=\"" << legendY - 4 << "\" y2=\"" << legendY - 4 << "\" stroke=\"" << colour
            << "\" stroke-width=\"2\"/>\n<text x=\"" << kLeft + plotWidth + 38 << "\" y=\""
            << legendY << "\" font-size=\"12\">" << escape(series.name) << "</text>\n";
    }
    svg << "</g>\n";
}

void add_tuning(const Tuning& tuning, const std::string& label, std::vector<Panel>* panels) {
    const auto& values = tuning.getValues();
    auto get = [&values](Parameter parameter) {
        auto it = values.find(parameter);
        return it != values.end() ? it->second : std::vector<int>();
    };
    panels->push_back({"Tuning " + label + ": audio-optimizer gain per channel",
                       get(audio_optimizer_frequency),
                       {{"left", get(audio_optimizer_gain_l)},
                        {"right", get(audio_optimizer_gain_r)},
                        {"left surround", get(audio_optimizer_gain_ls)},
                        {"right surround", get(audio_optimizer_gain_rs)}}});
    panels->push_back({"Tuning " + label + ": regulator thresholds",
                       get(regulator_frequency),
                       {{"threshold low", get(regulator_threshold_low)},
                        {"threshold high", get(regulator_threshold_high)}}});
}

template <typename Record>
std::vector<int> values_of(const Record& record, Parameter parameter) {
    auto it = record.getValues().find(parameter);
    return it != record.getValues().end() ? it->second : std::vector<int>();
}

bool profile_matches(const std::string& wanted, int id, const std::string& name) {
    return wanted.empty() || wanted == std::to_string(id) || wanted == name;
}

void print_usage(std::ostream& stream) {
    stream << "usage: velora-inspect plot (FILE | --root DIR) -o OUT.svg [--profile P] "
              "[--tuning NAME]\n";
}

}  // namespace

int inspect_plot(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    std::string file;
    std::string root;
    std::string output;
    std::string profile;
    std::string tuningName;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        const bool hasValue = i + 1 < args.size();
        if (arg == "--help" || arg == "-h") {
            out << kPlotSubcommand.help;
            return kExitOk;
        } else if (arg == "--root" && hasValue) {
            root = args[++i];
        } else if (arg == "-o" && hasValue) {
            output = args[++i];
        } else if (arg == "--profile" && hasValue) {
            profile = args[++i];
        } else if (arg == "--tuning" && hasValue) {
            tuningName = args[++i];
        } else if (!arg.empty() && arg[0] == '-') {
            err << "velora-inspect plot: unknown option or missing value: " << arg << "\n";
            print_usage(err);
            return kExitUsage;
        } else if (file.empty()) {
            file = arg;
        } else {
            err << "velora-inspect plot: one FILE only, got also " << arg << "\n";
            print_usage(err);
            return kExitUsage;
        }
    }
    if (file.empty() == root.empty() || output.empty()) {
        err << "velora-inspect plot: give FILE or --root DIR, and -o OUT.svg\n";
        print_usage(err);
        return kExitUsage;
    }

    // A filter draws only what it names; without one everything is drawn.
    const bool filtered = !profile.empty() || !tuningName.empty();
    const bool drawIeq = !filtered;
    const bool drawGeq = !filtered || !profile.empty();
    const bool drawTunings = !filtered || !tuningName.empty();
    std::vector<Panel> panels;
    std::string subject;
    std::unique_ptr<TuningFileParser> parser;
    std::unique_ptr<Provider> provider;
    if (!file.empty()) {
        subject = file;
        parser = std::make_unique<TuningFileParser>();
        if (parser->setTuningFile(file) != 0 || parser->getDeviceData() == nullptr) {
            err << "velora-inspect: " << file << " is not a readable tuning file\n";
            return kExitFailed;
        }
        DeviceData& data = *parser->getDeviceData();
        std::vector<const IeqPreset*> ieq(data.getIeqPresets().begin(), data.getIeqPresets().end());
        std::sort(ieq.begin(), ieq.end(),
                  [](auto a, auto b) { return a->getType() < b->getType(); });
        for (const IeqPreset* preset : drawIeq ? ieq : std::vector<const IeqPreset*>()) {
            panels.push_back({"IEQ preset " + preset_type_name(preset->getType()) + ": target",
                              values_of(*preset, ieq_frequency),
                              {{"target", values_of(*preset, ieq_target)}}});
        }
        std::vector<const GeqPreset*> geq(data.getGeqPresets().begin(), data.getGeqPresets().end());
        std::sort(geq.begin(), geq.end(),
                  [](auto a, auto b) { return a->getProfileId() < b->getProfileId(); });
        for (const GeqPreset* preset : geq) {
            const std::string name = parser->getProfileName(preset->getProfileId());
            if (!drawGeq || !profile_matches(profile, preset->getProfileId(), name)) continue;
            panels.push_back({"GEQ preset of profile " + std::to_string(preset->getProfileId()) +
                                  " (" + name + "): gain",
                              values_of(*preset, geq_frequency),
                              {{"gain", values_of(*preset, geq_gain)}}});
        }
        std::vector<const Tuning*> tunings(data.getTunings().begin(), data.getTunings().end());
        std::sort(tunings.begin(), tunings.end(),
                  [](auto a, auto b) { return a->getName() < b->getName(); });
        for (const Tuning* tuning : tunings) {
            if (drawTunings && (tuningName.empty() || tuning->getName() == tuningName)) {
                add_tuning(*tuning, "'" + tuning->getName() + "'", &panels);
            }
        }
    } else {
        // What the service holds now: the user's GEQ gains and the tuning each port selects.
        subject = root;
        SystemPaths::setRoot(root);
        const std::string database = SystemPaths::resolve(std::string(SystemPaths::kDatabaseDir) +
                                                          Provider::kDatabaseFileName);
        struct stat info;
        if (stat(database.c_str(), &info) != 0) {
            err << "velora-inspect: no settings database at " << database
                << " (the service creates it on its first start)\n";
            return kExitFailed;
        }
        provider = std::make_unique<Provider>();
        if (provider->init() != 0) {
            err << "velora-inspect: the settings database at " << database
                << " holds no profiles\n";
            return kExitFailed;
        }
        for (int type = 0; type < kPresetTypeCount; ++type) {
            const IeqPreset* preset = provider->loadIeqPreset(static_cast<PresetType>(type));
            if (!drawIeq || preset == nullptr || values_of(*preset, ieq_frequency).empty()) {
                continue;
            }
            panels.push_back(
                {"IEQ preset " + preset_type_name(static_cast<PresetType>(type)) + ": target",
                 values_of(*preset, ieq_frequency),
                 {{"target", values_of(*preset, ieq_target)}}});
        }
        for (int id = 0; id < provider->getNumOfProfiles(); ++id) {
            const Profile* record = provider->loadProfile(id);
            const std::string name = record != nullptr ? record->getName() : "";
            if (!drawGeq || !profile_matches(profile, id, name)) continue;
            const GeqPreset* preset = provider->loadGeqPreset(id);
            if (preset == nullptr) continue;
            panels.push_back({"GEQ of profile " + std::to_string(id) + " (" + name +
                                  "), as the user has it: gain",
                              values_of(*preset, geq_frequency),
                              {{"gain", values_of(*preset, geq_gain)}}});
        }
        for (int port = 0; port < kPortCount; ++port) {
            provider->loadDeviceTuningsForPort(static_cast<Port>(port));
        }
        std::set<std::string> shown;
        for (int port = 0; port < kPortCount; ++port) {
            const std::string device = provider->getDeviceTuning(kPortNames[port]);
            const Tuning* tuning = device.empty() ? nullptr : provider->loadTuningForDevice(device);
            if (tuning == nullptr || !drawTunings) continue;
            if (!tuningName.empty() && tuning->getName() != tuningName) continue;
            add_tuning(*tuning,
                       "'" + tuning->getName() + "' (" + kPortNames[port] + ": " + device + ")",
                       &panels);
        }
    }
    if (panels.empty()) {
        err << "velora-inspect plot: nothing to draw"
            << (profile.empty() && tuningName.empty() ? "" : " for the given --profile/--tuning")
            << "\n";
        return kExitFailed;
    }

    std::ostringstream svg;
    const int height = static_cast<int>(panels.size()) * kPanelHeight + 40;
    svg << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" "
           "width=\""
        << kWidth << "\" height=\"" << height << "\" viewBox=\"0 0 " << kWidth << " " << height
        << "\" font-family=\"sans-serif\">\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        << "<text x=\"10\" y=\"24\" font-size=\"13\" fill=\"#555\">" << escape(subject)
        << " (levels in dB = stored value / 16)</text>\n";
    for (size_t i = 0; i < panels.size(); ++i) {
        draw_panel(svg, panels[i], 40 + static_cast<int>(i) * kPanelHeight);
    }
    svg << "</svg>\n";
    std::ofstream stream(output, std::ios::binary | std::ios::trunc);
    stream << svg.str();
    stream.close();
    if (!stream) {
        err << "velora-inspect: cannot write " << output << "\n";
        return kExitFailed;
    }
    return kExitOk;
}

const Subcommand kPlotSubcommand = {
    "plot",
    "(FILE | --root DIR) -o OUT.svg [--profile P] [--tuning NAME]",
    "draw the equalizer curves and tunings as one SVG picture",
    "usage: velora-inspect plot (FILE | --root DIR) -o OUT.svg [--profile P] [--tuning NAME]\n"
    "\n"
    "Draws one labelled panel per record over a logarithmic frequency axis (20 Hz to\n"
    "20 kHz), levels in dB (the stored 1/16 dB steps divided by 16): every IEQ preset's\n"
    "target per band, every GEQ preset's gain per band and, per tuning, the audio-optimizer\n"
    "gain of each channel and the regulator's low and high thresholds. Each point carries\n"
    "its stored value as a tooltip.\n"
    "\n"
    "  FILE           a tuning file, read with the service's own reader\n"
    "  --root DIR     what the service holds now under DIR: the user's GEQ gains and the\n"
    "                 tuning of the device each port selects\n"
    "  --profile P    only the GEQ of profile P (id or name)\n"
    "  --tuning NAME  only the tuning NAME\n"
    "\n"
    "Exit status: 0 drawn, 1 nothing readable or nothing to draw, 2 usage error.\n",
    &inspect_plot,
};

}  // namespace velora::inspect
