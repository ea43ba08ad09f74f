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
#include "tools/common/ArgumentParser.h"
#include "tuning/DeviceData.h"
#include "tuning/TuningFileParser.h"

namespace velora::inspect {

namespace {

// Gains, targets and thresholds are kept in 1/16 dB, frequencies in Hz.
constexpr double kStepsPerDb = 16.0;
constexpr double kMinHz = 20.0;
constexpr double kMaxHz = 20000.0;
// Levels beyond these are no levels a tuning means; they are drawn at the edge.
constexpr double kMinDb = -100.0;
constexpr double kMaxDb = 100.0;
constexpr int kWidth = 860;
constexpr int kPanelHeight = 280;
constexpr int kLeft = 70;
constexpr int kRight = 150;
constexpr int kTop = 40;
constexpr int kBottom = 50;
const char* const kColours[] = {"#1f77b4", "#d62728", "#2ca02c", "#9467bd", "#ff7f0e", "#8c564b"};
constexpr size_t kColourCount = sizeof(kColours) / sizeof(kColours[0]);

struct Series {
    std::string name;
    std::vector<int> frequencies;  // Hz
    std::vector<int> values;       // as stored, one per frequency
};

// One record: all its curves over one frequency axis.
struct Panel {
    std::string title;
    std::vector<Series> series;
};

// The points of a series: one per frequency with a value. A stored list ends with an end
// element of frequency 0, which is no point.
size_t point_count(const Series& series) {
    size_t count = std::min(series.values.size(), series.frequencies.size());
    while (count > 0 && series.frequencies[count - 1] == 0) --count;
    return count;
}

// A step of 1, 2 or 5 times a power of ten that divides the range into at most eight parts.
double round_step(double range) {
    const double raw = std::max(range, 1.0) / 8.0;
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    for (double factor : {1.0, 2.0, 5.0, 10.0}) {
        if (factor * power >= raw) return factor * power;
    }
    return 10.0 * power;
}

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

std::string tick_label(double db) {
    char text[32];
    std::snprintf(text, sizeof(text), "%g", db);
    return text;
}

// One panel at vertical offset `top`: log frequency axis, dB axis at round steps, one line per
// series and every point with its stored value as a tooltip. Points outside the axes are drawn
// at the edge, and a note under the panel says how many.
void draw_panel(std::ostream& svg, const Panel& panel, int top) {
    const int plotWidth = kWidth - kLeft - kRight;
    const int plotHeight = kPanelHeight - kTop - kBottom;
    double low = 0;
    double high = 0;
    for (const Series& series : panel.series) {
        for (size_t i = 0; i < point_count(series); ++i) {
            const double db = std::clamp(series.values[i] / kStepsPerDb, kMinDb, kMaxDb);
            low = std::min(low, db);
            high = std::max(high, db);
        }
    }
    // Round ends with some room, so that no curve runs along the frame.
    const double step = round_step(high - low);
    low = std::max(kMinDb, std::floor(low / step - 0.25) * step);
    high = std::min(kMaxDb, std::ceil(high / step + 0.25) * step);
    int clippedHz = 0;
    int clippedDb = 0;
    auto x = [&](double hz) {
        return kLeft + plotWidth * std::log10(hz / kMinHz) / std::log10(kMaxHz / kMinHz);
    };
    auto y = [&](double db) { return top + kTop + plotHeight * (high - db) / (high - low); };

    svg << "<g>\n<text x=\"" << kLeft << "\" y=\"" << top + 24
        << "\" font-size=\"15\" font-weight=\"bold\">" << escape(panel.title) << "</text>\n";
    svg << "<rect class=\"plot\" x=\"" << kLeft << "\" y=\"" << top + kTop << "\" width=\""
        << plotWidth << "\" height=\"" << plotHeight << "\" fill=\"none\" stroke=\"#444\"/>\n";
    for (double hz : {20.0, 50.0, 100.0, 200.0, 500.0, 1000.0, 2000.0, 5000.0, 10000.0, 20000.0}) {
        svg << "<line x1=\"" << number(x(hz)) << "\" x2=\"" << number(x(hz)) << "\" y1=\""
            << top + kTop << "\" y2=\"" << top + kTop + plotHeight
            << "\" stroke=\"#ddd\"/>\n<text class=\"xtick\" x=\"" << number(x(hz)) << "\" y=\""
            << top + kTop + plotHeight + 16 << "\" font-size=\"11\" text-anchor=\"middle\">"
            << hz_label(hz) << "</text>\n";
    }
    for (double db = low; db <= high + step / 2; db += step) {
        svg << "<line x1=\"" << kLeft << "\" x2=\"" << kLeft + plotWidth << "\" y1=\""
            << number(y(db)) << "\" y2=\"" << number(y(db)) << "\" stroke=\""
            << (std::fabs(db) < step / 2 ? "#999" : "#eee") << "\"/>\n<text class=\"ytick\" x=\""
            << kLeft - 6 << "\" y=\"" << number(y(db) + 4)
            << "\" font-size=\"11\" text-anchor=\"end\">" << tick_label(db) << "</text>\n";
    }
    svg << "<text transform=\"translate(18," << top + kTop + plotHeight / 2
        << ") rotate(-90)\" font-size=\"12\" text-anchor=\"middle\">level (dB)</text>\n";
    for (size_t s = 0; s < panel.series.size(); ++s) {
        const Series& series = panel.series[s];
        const char* colour = kColours[s % kColourCount];
        std::string points;
        std::string dots;
        for (size_t i = 0; i < point_count(series); ++i) {
            const double hz = series.frequencies[i];
            const double db = series.values[i] / kStepsPerDb;
            const double shownHz = std::clamp(hz, kMinHz, kMaxHz);
            const double shownDb = std::clamp(db, low, high);
            clippedHz += shownHz != hz;
            clippedDb += shownDb != db;
            const double px = x(shownHz);
            const double py = y(shownDb);
            points += number(px) + "," + number(py) + " ";
            dots += "<circle cx=\"" + number(px) + "\" cy=\"" + number(py) +
                    "\" r=\"2.5\" fill=\"" + colour + "\"><title>" + escape(series.name) + " " +
                    std::to_string(series.frequencies[i]) +
                    " Hz: " + std::to_string(series.values[i]) + " (" + number(db) +
                    " dB)</title></circle>\n";
        }
        svg << "<polyline class=\"series\" data-name=\"" << escape(series.name)
            << "\" fill=\"none\" stroke=\"" << colour << "\" stroke-width=\"1.8\" points=\""
            << points << "\"/>\n"
            << dots;
        const int legendY = top + kTop + 14 + static_cast<int>(s) * 18;
        svg << "<line x1=\"" << kLeft + plotWidth + 12 << "\" x2=\"" << kLeft + plotWidth + 32
            << "\" y1=\"" << legendY - 4 << "\" y2=\"" << legendY - 4 << "\" stroke=\"" << colour
            << "\" stroke-width=\"2\"/>\n<text x=\"" << kLeft + plotWidth + 38 << "\" y=\""
            << legendY << "\" font-size=\"12\">" << escape(series.name) << "</text>\n";
    }
    std::string note = "frequency (Hz, logarithmic)";
    if (clippedHz > 0) {
        note += "; " + std::to_string(clippedHz) + (clippedHz == 1 ? " point" : " points") +
                " outside 20 Hz to 20 kHz drawn at the edge";
    }
    if (clippedDb > 0) {
        note += "; " + std::to_string(clippedDb) + (clippedDb == 1 ? " level" : " levels") +
                " beyond " + tick_label(kMinDb) + " to " + tick_label(kMaxDb) +
                " dB drawn at the edge";
    }
    svg << "<text class=\"note\" x=\"" << kLeft + plotWidth / 2 << "\" y=\""
        << top + kPanelHeight - 10 << "\" font-size=\"12\" text-anchor=\"middle\">" << escape(note)
        << "</text>\n";
    svg << "</g>\n";
}

void add_tuning(const Tuning& tuning, const std::string& label, std::vector<Panel>* panels) {
    const auto& values = tuning.getValues();
    auto get = [&values](Parameter parameter) {
        auto it = values.find(parameter);
        return it != values.end() ? it->second : std::vector<int>();
    };
    const std::vector<int> optimizer = get(audio_optimizer_frequency);
    const std::vector<int> regulator = get(regulator_frequency);
    panels->push_back({"Tuning " + label + ": audio-optimizer gain, regulator thresholds",
                       {{"left", optimizer, get(audio_optimizer_gain_l)},
                        {"right", optimizer, get(audio_optimizer_gain_r)},
                        {"left surround", optimizer, get(audio_optimizer_gain_ls)},
                        {"right surround", optimizer, get(audio_optimizer_gain_rs)},
                        {"threshold low", regulator, get(regulator_threshold_low)},
                        {"threshold high", regulator, get(regulator_threshold_high)}}});
}

template <typename Record>
std::vector<int> values_of(const Record& record, Parameter parameter) {
    auto it = record.getValues().find(parameter);
    return it != record.getValues().end() ? it->second : std::vector<int>();
}

bool profile_matches(const std::string& wanted, int id, const std::string& name) {
    return wanted.empty() || wanted == std::to_string(id) || wanted == name;
}

}  // namespace

int inspect_plot(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    std::string file;
    std::string root;
    std::string output;
    std::string profile;
    std::string tuningName;
    ArgumentParser arguments("velora-inspect plot", kPlotSubcommand.help);
    CLI::App& app = arguments.app();
    arguments.setUsage(&app,
                       "velora-inspect plot (FILE | --root DIR) -o OUT.svg [--profile P] "
                       "[--tuning NAME]");
    CLI::Option* fileOption =
        app.add_option("FILE", file,
                       "a tuning file, read with the service's own reader (- for standard "
                       "input)");
    app.add_option("--root", root,
                   "what the service holds now under DIR: the user's GEQ gains and the tuning "
                   "of the device each port selects")
        ->type_name("DIR")
        ->excludes(fileOption);
    app.add_option("-o,--output", output, "the SVG file to write (- for standard output)")
        ->type_name("OUT.svg")
        ->required();
    app.add_option("--profile", profile, "only the GEQ of profile P (id or name)")->type_name("P");
    app.add_option("--tuning", tuningName, "only the tuning NAME")->type_name("NAME");
    if (auto status = arguments.parse(args, out, err)) return *status;
    if (file.empty() == root.empty()) {
        err << "velora-inspect plot: give FILE or --root DIR (see 'velora-inspect plot "
               "--help')\n";
        return kExitUsage;
    }
    file = file.empty() ? file : ArgumentParser::inputPath(file);

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
            panels.push_back(
                {"IEQ preset " + preset_type_name(preset->getType()) + ": target",
                 {{"target", values_of(*preset, ieq_frequency), values_of(*preset, ieq_target)}}});
        }
        std::vector<const GeqPreset*> geq(data.getGeqPresets().begin(), data.getGeqPresets().end());
        std::sort(geq.begin(), geq.end(),
                  [](auto a, auto b) { return a->getProfileId() < b->getProfileId(); });
        for (const GeqPreset* preset : geq) {
            const std::string name = parser->getProfileName(preset->getProfileId());
            if (!drawGeq || !profile_matches(profile, preset->getProfileId(), name)) continue;
            panels.push_back(
                {"GEQ preset of profile " + std::to_string(preset->getProfileId()) + " (" + name +
                     "): gain",
                 {{"gain", values_of(*preset, geq_frequency), values_of(*preset, geq_gain)}}});
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
                 {{"target", values_of(*preset, ieq_frequency), values_of(*preset, ieq_target)}}});
        }
        for (int id = 0; id < provider->getNumOfProfiles(); ++id) {
            const Profile* record = provider->loadProfile(id);
            const std::string name = record != nullptr ? record->getName() : "";
            if (!drawGeq || !profile_matches(profile, id, name)) continue;
            const GeqPreset* preset = provider->loadGeqPreset(id);
            if (preset == nullptr) continue;
            panels.push_back(
                {"GEQ of profile " + std::to_string(id) + " (" + name +
                     "), as the user has it: gain",
                 {{"gain", values_of(*preset, geq_frequency), values_of(*preset, geq_gain)}}});
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
    if (output == "-") {
        out << svg.str();
        return out ? kExitOk : kExitFailed;
    }
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
    "Draws one labelled panel per record over a logarithmic frequency axis (20 Hz to\n"
    "20 kHz), levels in dB (the stored 1/16 dB steps divided by 16): every IEQ preset's\n"
    "target per band, every GEQ preset's gain per band and, per tuning, the audio-optimizer\n"
    "gain of each channel and the regulator's low and high thresholds. Each point carries\n"
    "its stored value as a tooltip.\n"
    "\n"
    "Exit status: 0 drawn, 1 nothing readable or nothing to draw, 2 usage error.\n",
    &inspect_plot,
};

}  // namespace velora::inspect
