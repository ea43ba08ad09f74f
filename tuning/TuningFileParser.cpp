/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "TuningFileParser"

#include "tuning/TuningFileParser.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <log/log.h>

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

#include "model/Parameter.h"
#include "store/TextHelpers.h"
#include "tuning/HeldWalkOutput.h"
#include "tuning/WalkWhileParsing.h"
#include "tuning/XmlErrorsToLog.h"
#include "tuning/XmlString.h"

namespace velora {

namespace {

// Elements of the tuning file.
constexpr char kFormatVersionElement[] = "format_version";
constexpr char kToolVersionElement[] = "tool_version";
constexpr char kPresetElement[] = "preset";
constexpr char kProfileElement[] = "profile";
constexpr char kTuningElement[] = "tuning";
constexpr char kIeqBandElement[] = "band_ieq";
constexpr char kIncludeElement[] = "include";
constexpr char kEndpointTypeElement[] = "endpoint_type";
constexpr char kDeviceIdElement[] = "device_id";
constexpr char kOutputModeElement[] = "output-mode";
constexpr char kVirtualBassMixFreqsElement[] = "virtual-bass-mix-freqs";
constexpr char kVirtualBassSrcFreqsElement[] = "virtual-bass-src-freqs";

// Attributes.
constexpr char kMajorAttr[] = "major";
constexpr char kMinorAttr[] = "minor";
constexpr char kMaintenanceAttr[] = "maintenance";
constexpr char kIdAttr[] = "id";
constexpr char kTypeAttr[] = "type";
constexpr char kNameAttr[] = "name";
constexpr char kValueAttr[] = "value";
constexpr char kPresetAttr[] = "preset";
constexpr char kFrequencyAttr[] = "frequency";
constexpr char kTargetAttr[] = "target";
constexpr char kGainAttr[] = "gain";
constexpr char kEndpointTypeAttr[] = "endpoint_type";
constexpr char kMonoDeviceAttr[] = "mono_device";
constexpr char kOrientationAttr[] = "orientation";
constexpr char kOutputChannelsAttr[] = "output_channels";
constexpr char kEndpointPortAttr[] = "endpoint_port";
constexpr char kGainLeftAttr[] = "gain_left";
constexpr char kGainRightAttr[] = "gain_right";
constexpr char kGainLeftSurroundAttr[] = "gain_left_surround";
constexpr char kGainRightSurroundAttr[] = "gain_right_surround";
constexpr char kThresholdLowAttr[] = "threshold_low";
constexpr char kThresholdHighAttr[] = "threshold_high";
constexpr char kIsolatedBandAttr[] = "isolated_band";
constexpr char kFrequencyLowAttr[] = "frequency_low";
constexpr char kFrequencyHighAttr[] = "frequency_high";

// Attribute values.
constexpr char kIeqType[] = "ieq";
constexpr char kGeqType[] = "geq";
constexpr char kTrue[] = "true";
constexpr char kFalse[] = "false";
constexpr char kSpeaker[] = "speaker";
constexpr char kHeadphone[] = "headphone";
constexpr char kOther[] = "other";

// Fixed numbers printed with the failure lines, so that a log line points at its check.
constexpr int kTagEmptyPath = 115;
constexpr int kTagReadFile = 128;
constexpr int kTagNoRoot = 134;
constexpr int kTagInvalidPresetName = 271;

// Whitespace text nodes are kept (no XML_PARSE_NOBLANKS): the layout rules need them. Short
// texts are stored inside their nodes (the reader never changes the tree), which spares one
// allocation for nearly every node of an indented file.
constexpr int kParseOptions = XML_PARSE_COMPACT;

// Tuning-data elements that carry a whole row of values rather than one value.
constexpr const char* kTuningDataRowKeys[] = {
    "regulator-stress-amount",
    "complex-equalizer-tuning-left",
    "complex-equalizer-tuning-right",
    "complex-equalizer-tuning-left-surround",
    "complex-equalizer-tuning-right-surround",
    "regulator-sibilance-suppress-amounts-left",
    "regulator-sibilance-suppress-amounts-right",
    "regulator-sibilance-suppress-amounts-left-surround",
    "regulator-sibilance-suppress-amounts-right-surround",
    "bass-mbdrc-tuning",
    "virtual-bass-subgains",
};
constexpr char kProfileDataRowKey[] = "drc-metadata";

using KeyMap = std::map<std::string, Parameter, std::less<>>;

// Element name to parameter for the plain keys of one record kind. Keys shared by two
// parameters (the virtual-bass frequency pairs) carry their values in attributes and are
// read by their own rule, so they are left out.
KeyMap keys_of_kind(RecordKind kind) {
    KeyMap keys;
    for (int i = 0; i < kParameterCount; ++i) {
        if (kParameterRecordKinds[i] == kind && kParameterTuningKeys[i] != nullptr &&
            kParameterTuningAttributes[i] == nullptr) {
            keys.emplace(kParameterTuningKeys[i], static_cast<Parameter>(i));
        }
    }
    return keys;
}

// A tuning only takes the parameters a tuning holds: an endpoint or profile key inside a
// tuning's data block would give the record a value that no tuning row has a column for.
const KeyMap& tuning_keys() {
    static const KeyMap keys = keys_of_kind(RecordKind::Tuning);
    return keys;
}

const KeyMap& profile_keys() {
    static const KeyMap keys = keys_of_kind(RecordKind::Profile);
    return keys;
}

const KeyMap& profile_endpoint_keys() {
    static const KeyMap keys = keys_of_kind(RecordKind::ProfileEndpoint);
    return keys;
}

bool is_tuning_data_row_key(std::string_view name) {
    for (const char* key : kTuningDataRowKeys) {
        if (name == key) return true;
    }
    return false;
}

// Whether an element name is one of the file's parameter elements (of any record kind).
bool is_parameter_element(std::string_view name) {
    if (name == kOutputModeElement) return true;
    for (int i = 0; i < kParameterCount; ++i) {
        if (kParameterTuningKeys[i] != nullptr && name == kParameterTuningKeys[i]) return true;
    }
    return false;
}

const char* record_kind_name(RecordKind kind) {
    switch (kind) {
        case RecordKind::Tuning:
            return "tuning";
        case RecordKind::ProfileEndpoint:
            return "profile endpoint";
        case RecordKind::Profile:
            return "profile";
        case RecordKind::IeqPreset:
            return "IEQ preset";
        case RecordKind::GeqPreset:
            return "GEQ preset";
    }
    return "record";
}

// The record kind whose parameter an element names; false for no parameter element.
bool parameter_kind_of(std::string_view name, RecordKind* kind) {
    for (int i = 0; i < kParameterCount; ++i) {
        if (kParameterTuningKeys[i] != nullptr && name == kParameterTuningKeys[i]) {
            *kind = kParameterRecordKinds[i];
            return true;
        }
    }
    return false;
}

std::string_view node_name(xmlNodePtr node) {
    if (node == nullptr || node->name == nullptr) return {};
    return reinterpret_cast<const char*>(node->name);
}

std::string_view attr_name(xmlAttrPtr attr) {
    if (attr == nullptr || attr->name == nullptr) return {};
    return reinterpret_cast<const char*>(attr->name);
}

bool is_element(xmlNodePtr node) { return node != nullptr && node->type == XML_ELEMENT_NODE; }

bool is_element_named(xmlNodePtr node, std::string_view name) {
    return is_element(node) && node_name(node) == name;
}

// The text of one attribute, entity references expanded; empty when it has none.
std::string attr_text(xmlAttrPtr attr) {
    if (attr == nullptr) return {};
    XmlString text(xmlNodeListGetString(attr->doc, attr->children, 1));
    return TuningFileParser::xmlChar2String(text.get());
}

// The text of a named attribute; empty when the element has no such attribute.
std::string prop(xmlNodePtr node, const char* name) {
    XmlString text(xmlGetProp(node, reinterpret_cast<const xmlChar*>(name)));
    return TuningFileParser::xmlChar2String(text.get());
}

// One piece of a data row, read as sscanf("%d") reads it. A piece that holds no number
// reads as 0 rather than as whatever the variable held before.
int scan_int(const char* piece) {
    int value = 0;
    if (std::sscanf(piece, "%d", &value) != 1) return 0;
    return value;
}

// Where the indented layout expects an element, what is actually there.
//
// Tuning files are written indented, so inside a profile or tuning the whitespace text in
// front of an element is a node of its own: the first element is the second child node, and
// the element after one is the sibling after the next. The reader relies on that layout.
// kMissing: nothing there at all. kBroken: the layout does not hold (an element with no
// whitespace in front of it, or a comment or other non-element where the element belongs);
// following the rule there would read the wrong node.
struct Slot {
    enum Kind { kElement, kMissing, kBroken };
    Kind kind;
    xmlNodePtr node;  // the element found, or the node that broke the layout; null if missing
};

Slot element_after(xmlNodePtr skipped) {
    if (skipped == nullptr) return {Slot::kMissing, nullptr};
    if (is_element(skipped)) return {Slot::kBroken, skipped};
    xmlNodePtr candidate = skipped->next;
    if (candidate == nullptr) return {Slot::kMissing, nullptr};
    if (!is_element(candidate)) return {Slot::kBroken, candidate};
    return {Slot::kElement, candidate};
}

Slot first_element_child(xmlNodePtr node) { return element_after(node->children); }

// Why a number text does not read as itself (empty when it does), given what was read.
std::string number_problem(const std::string& text, int value) {
    size_t at = 0;
    while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at]))) ++at;
    size_t digits = at + ((at < text.size() && (text[at] == '-' || text[at] == '+')) ? 1 : 0);
    size_t end = digits;
    while (end < text.size() && std::isdigit(static_cast<unsigned char>(text[end]))) ++end;
    const std::string shown = "'" + text + "'";
    if (end == digits) return shown + " is no number; read as " + std::to_string(value);
    errno = 0;
    const long long whole = std::strtoll(text.c_str() + at, nullptr, 10);
    if (errno == ERANGE || whole < INT_MIN || whole > INT_MAX) {
        return shown + " is beyond the 32-bit range; read as " + std::to_string(value);
    }
    if (whole != value) return shown + " read as " + std::to_string(value);
    size_t rest = end;
    while (rest < text.size() && std::isspace(static_cast<unsigned char>(text[rest]))) ++rest;
    if (rest < text.size()) {
        return shown + " read as " + std::to_string(value) +
               "; the text after the number is ignored";
    }
    return {};
}

Slot next_element(xmlNodePtr node) { return element_after(node->next); }

// Why a slot holds no element, for the log line that drops the record.
std::string slot_problem(const Slot& slot, const char* what) {
    if (slot.kind == Slot::kMissing) return std::string("no ") + what;
    long line = xmlGetLineNo(slot.node);
    if (is_element(slot.node)) {
        return "<" + std::string(node_name(slot.node)) + "> at line " + std::to_string(line) +
               " has no whitespace in front of it, so the " + what + " cannot be found";
    }
    return "a non-element node at line " + std::to_string(line) + " stands where the " + what +
           " belongs";
}

Endpoint tuning_endpoint(const std::string& name) {
    if (name == kHeadphone) return ENDPOINT_HEADPHONE;
    if (name == kOther) return ENDPOINT_OTHER;
    // "speaker" and every unknown name: a tuning with an odd endpoint still drives a speaker.
    return ENDPOINT_SPEAKER;
}

Endpoint profile_endpoint(const std::string& name) {
    if (name == kSpeaker) return ENDPOINT_SPEAKER;
    if (name == kHeadphone) return ENDPOINT_HEADPHONE;
    // Unknown names fall to "other", unlike tunings; both rules are long-standing.
    return ENDPOINT_OTHER;
}

// The preset type of an IEQ preset, from its id. Unknown ids are balanced, the neutral
// preset; the order of the tests decides ids that contain two of the words.
PresetType ieq_preset_type_by_id(const std::string& id) {
    if (id.find("detailed") != std::string::npos) return PRESET_DETAILED;
    if (id.find("balanced") != std::string::npos) return PRESET_BALANCED;
    if (id.find("warm") != std::string::npos) return PRESET_WARM;
    if (id.find("off") != std::string::npos) return PRESET_OFF;
    return PRESET_BALANCED;
}

std::string read_version(xmlNodePtr node) {
    std::string major;
    std::string minor;
    std::string maintenance;
    for (xmlAttrPtr attr = node->properties; attr != nullptr; attr = attr->next) {
        std::string_view name = attr_name(attr);
        if (name == kMajorAttr) {
            major = attr_text(attr);
        } else if (name == kMinorAttr) {
            minor = attr_text(attr);
        } else if (name == kMaintenanceAttr) {
            maintenance = attr_text(attr);
        } else {
            HeldWalkOutput::log(ANDROID_LOG_ERROR, "invalid attribute name %s",
                                std::string(name).c_str());
        }
    }
    return major + "." + minor + "." + maintenance;
}

// The records of a set, as the views DeviceData takes (in the same order).
template <typename T>
std::set<T*> views_of(const std::set<std::unique_ptr<T>>& records) {
    std::set<T*> views;
    for (const auto& record : records) views.insert(views.end(), record.get());
    return views;
}

// Drops the records that are not among `kept`.
template <typename T>
void keep_only(std::set<std::unique_ptr<T>>* records, const std::set<T*>& kept) {
    for (auto it = records->begin(); it != records->end();) {
        it = kept.count(it->get()) == 0 ? records->erase(it) : std::next(it);
    }
}

}  // namespace

TuningFileParser::TuningFileParser() = default;

TuningFileParser::TuningFileParser(const std::string& path) : TuningFileParser() {
    setTuningFile(path);
}

TuningFileParser::~TuningFileParser() = default;

int TuningFileParser::setTuningFile(const std::string& path) {
    mPath = path;
    if (readWhileParsing() != 0) return -EINVAL;

    auto data = std::make_unique<DeviceData>();
    data->setFormatVersion(mFormatVersion);
    data->setToolVersion(mToolVersion);
    data->setIeqPresets(views_of(mIeqPresets));
    data->setGeqPresets(views_of(mGeqPresets));
    data->setProfiles(views_of(mProfiles));
    data->setProfileEndPoints(views_of(mProfileEndpoints));
    data->setTunings(views_of(mTunings));
    data->setDeviceTunings(views_of(mDeviceTunings));
    mDeviceData = std::move(data);
    return 0;
}

int TuningFileParser::initXmlParser() {
    if (!checkPath()) return -EINVAL;
    XmlDocHolder doc;
    mReadLog.clear();
    {
        XmlErrorsToLog errorsToLog(&mReadLog);
        doc.reset(xmlReadFile(mPath.c_str(), nullptr, kParseOptions));
    }
    xmlNodePtr root = nullptr;
    const int result = checkDocument(doc.get(), &root);
    if (result != 0) return result;
    mRoot = root;
    mDoc = std::move(doc);
    return 0;
}

bool TuningFileParser::checkPath() {
    if (!mPath.empty()) return true;
    ALOGE("invalide tuning file path, %d", kTagEmptyPath);
    return false;
}

int TuningFileParser::checkDocument(xmlDocPtr doc, xmlNodePtr* root) {
    if (doc == nullptr) {
        ALOGE("fail to call xmlReadFile,  %d", kTagReadFile);
        if (mDiagnostics != nullptr) {
            const xmlError* error = xmlGetLastError();
            std::string message = error != nullptr && error->message != nullptr
                                      ? error->message
                                      : "the file cannot be opened";
            while (!message.empty() && message.back() == '\n') message.pop_back();
            mDiagnostics->report(
                Severity::kError, error != nullptr ? error->line : 0,
                "not readable as XML (" + message + "): the service keeps the settings it has");
        }
        return -EINVAL;
    }
    const int result = findRootElement(doc, root);
    if (result != 0) {
        diagnose(Severity::kError, nullptr,
                 [] { return std::string("the document has no root element; nothing is read"); });
    }
    return result;
}

int TuningFileParser::readWhileParsing() {
    if (!checkPath()) return -EINVAL;
    // What a file that is no XML leaves as it was: the records, names and versions of the
    // files read before.
    const std::set<IeqPreset*> ieqPresets = views_of(mIeqPresets);
    const std::set<GeqPreset*> geqPresets = views_of(mGeqPresets);
    const std::set<Profile*> profiles = views_of(mProfiles);
    const std::set<ProfileEndpoint*> profileEndpoints = views_of(mProfileEndpoints);
    const std::set<Tuning*> tunings = views_of(mTunings);
    const std::set<DeviceTuning*> deviceTunings = views_of(mDeviceTunings);
    std::map<int, std::string> profileNames = mProfileNames;
    const int numOfProfiles = mNumOfProfiles;
    std::string formatVersion = std::move(mFormatVersion);
    std::string toolVersion = std::move(mToolVersion);
    // The versions belong to the file being read; records of earlier files stay owned here.
    mFormatVersion.clear();
    mToolVersion.clear();
    mReadLog.clear();

    HeldWalkOutput held(mDiagnostics);
    TuningDiagnostics* const sink = mDiagnostics;
    mDiagnostics = held.diagnostics();
    XmlDocHolder doc;
    {
        XmlErrorsToLog errorsToLog(&mReadLog);
        doc = WalkWhileParsing::parse(mPath, kParseOptions,
                                      [this](xmlNodePtr root) { walkChildrenOf(root, true); });
    }
    mDiagnostics = sink;
    xmlNodePtr root = nullptr;
    if (doc) walkChildrenOf(xmlDocGetRootElement(doc.get()), /*freeThem=*/false);
    const int result = checkDocument(doc.get(), &root);
    if (result != 0) {
        keep_only(&mIeqPresets, ieqPresets);
        keep_only(&mGeqPresets, geqPresets);
        keep_only(&mProfiles, profiles);
        keep_only(&mProfileEndpoints, profileEndpoints);
        keep_only(&mTunings, tunings);
        keep_only(&mDeviceTunings, deviceTunings);
        mProfileNames = std::move(profileNames);
        mNumOfProfiles = numOfProfiles;
        mFormatVersion = std::move(formatVersion);
        mToolVersion = std::move(toolVersion);
        return result;
    }
    held.release(&mReadLog);
    // A document opened through initXmlParser belongs to an earlier read.
    mRoot = nullptr;
    mDoc.reset();
    mParsed = true;
    return 0;
}

void TuningFileParser::walkChildrenOf(xmlNodePtr root, bool freeThem) {
    if (root == nullptr) return;
    // The root's name is not checked: shipped files differ in it.
    for (xmlNodePtr node = root->children; node != nullptr;) {
        xmlNodePtr next = node->next;
        if (is_element(node)) parseNode(node);
        if (freeThem) {
            xmlUnlinkNode(node);
            xmlFreeNode(node);
        }
        node = next;
    }
}

int TuningFileParser::findRootElement(xmlDocPtr doc, xmlNodePtr* root) {
    *root = doc != nullptr ? xmlDocGetRootElement(doc) : nullptr;
    if (*root == nullptr) {
        ALOGE("fail to call xmlDocGetRootElement, %d", kTagNoRoot);
        return -ENODEV;
    }
    return 0;
}

void TuningFileParser::parseTuningFile() {
    if (mRoot == nullptr) return;
    walkChildrenOf(mRoot, /*freeThem=*/false);
    mParsed = true;
}

void TuningFileParser::parseNode(xmlNodePtr node) {
    std::string_view name = node_name(node);
    if (name == kFormatVersionElement) {
        parseFormatVersion(node);
    } else if (name == kToolVersionElement) {
        parseToolVersion(node);
    } else if (name == kPresetElement) {
        parsePreset(node);
    } else if (name == kProfileElement) {
        parseProfile(node);
    } else if (name == kTuningElement) {
        parseTuning(node);
    } else {
        diagnoseUnknownChild(node, "the document");
    }
}

void TuningFileParser::diagnoseAttributes(xmlNodePtr node,
                                          std::initializer_list<const char*> known) {
    if (mDiagnostics == nullptr) return;
    for (xmlAttrPtr attr = node->properties; attr != nullptr; attr = attr->next) {
        bool found = false;
        for (const char* name : known) found = found || attr_name(attr) == name;
        if (!found) {
            diagnose(Severity::kWarning, node, [&] {
                return "attribute '" + std::string(attr_name(attr)) + "' of <" +
                       std::string(node_name(node)) + "> is not read; ignored";
            });
        }
    }
}

void TuningFileParser::diagnoseNumber(xmlNodePtr node, const std::string& what,
                                      const std::string& text, int value) {
    if (mDiagnostics == nullptr) return;
    std::string problem = number_problem(text, value);
    if (!problem.empty()) {
        diagnose(Severity::kWarning, node, [&] { return what + ": " + problem; });
    }
}

void TuningFileParser::diagnoseSingleValue(xmlNodePtr node, int value) {
    if (mDiagnostics == nullptr) return;
    const std::string element = "<" + std::string(node_name(node)) + ">";
    xmlAttrPtr first = node->properties;
    if (first == nullptr || attr_name(first) != kValueAttr) {
        diagnose(Severity::kWarning, node, [&] {
            return element + " has no 'value' as its first attribute" +
                   (first != nullptr ? " (it is '" + std::string(attr_name(first)) + "')" : "") +
                   "; read as 0";
        });
        return;
    }
    const std::string text = attr_text(first);
    if (text != kTrue && text != kFalse) diagnoseNumber(node, element, text, value);
    diagnoseAttributes(node, {kValueAttr});
}

void TuningFileParser::diagnoseDataRow(xmlNodePtr node) {
    if (mDiagnostics == nullptr || node->properties == nullptr) return;
    const std::string text = attr_text(node->properties);
    const std::vector<int> values = parseDataRow(node);
    size_t index = 0;
    size_t start = 0;
    while (start <= text.size()) {
        size_t comma = text.find(',', start);
        if (comma == std::string::npos) comma = text.size();
        const std::string piece = text.substr(start, comma - start);
        if (!piece.empty()) {
            if (index < values.size()) {
                diagnoseNumber(
                    node,
                    "<" + std::string(node_name(node)) + "> value " + std::to_string(index + 1),
                    piece, values[index]);
            }
            ++index;
        }
        start = comma + 1;
    }
}

void TuningFileParser::skipChild(xmlNodePtr child, RecordKind holder, const char* where) {
    RecordKind kind;
    if (!parameter_kind_of(node_name(child), &kind) || kind == holder) {
        diagnoseUnknownChild(child, where);
        return;
    }
    // A value of another record kind has no column in this record's row; the record keeps
    // its own values and goes on without it.
    HeldWalkOutput::log(ANDROID_LOG_WARN,
                        "<%s> at line %ld holds a %s parameter, which a %s does not hold; dropped",
                        std::string(node_name(child)).c_str(), xmlGetLineNo(child),
                        record_kind_name(kind), record_kind_name(holder));
    diagnose(Severity::kWarning, child, [&] {
        return "<" + std::string(node_name(child)) + "> holds a " + record_kind_name(kind) +
               " parameter, which a " + record_kind_name(holder) + " does not hold; dropped";
    });
}

void TuningFileParser::diagnoseUnknownChild(xmlNodePtr child, const char* where) {
    diagnose(Severity::kWarning, child, [&] {
        return "<" + std::string(node_name(child)) + "> is not read in " + where + "; ignored";
    });
}

std::string TuningFileParser::getProfileName(int profileId) { return mProfileNames[profileId]; }

std::string TuningFileParser::xmlChar2String(const xmlChar* text) {
    if (text == nullptr) return {};
    return std::string(reinterpret_cast<const char*>(text), xmlStrlen(text));
}

int TuningFileParser::getNodeValue(xmlNodePtr node) {
    if (node == nullptr) return 0;
    xmlAttrPtr first = node->properties;
    if (first == nullptr || attr_name(first) != kValueAttr) return 0;
    std::string text = attr_text(first);
    if (text == kFalse) return 0;
    if (text == kTrue) return 1;
    return string2int(text);
}

std::vector<int> TuningFileParser::parseDataRow(xmlNodePtr node) {
    std::vector<int> values;
    if (node == nullptr || node->properties == nullptr) return values;
    std::string text = attr_text(node->properties);
    // strtok semantics: runs of separators count as one, so empty fields vanish.
    char* save = nullptr;
    for (char* piece = strtok_r(text.data(), ",", &save); piece != nullptr;
         piece = strtok_r(nullptr, ",", &save)) {
        values.push_back(scan_int(piece));
    }
    return values;
}

std::vector<int> TuningFileParser::parseMixMatrix(xmlNodePtr node) {
    std::vector<int> values;
    if (node == nullptr) return values;
    xmlNodePtr container = node->children;
    while (container != nullptr && !is_element(container)) container = container->next;
    if (container == nullptr) return values;
    for (xmlNodePtr row = container->children; row != nullptr; row = row->next) {
        if (!is_element(row) || row->properties == nullptr) continue;
        std::vector<int> rowValues = parseDataRow(row);
        values.insert(values.end(), rowValues.begin(), rowValues.end());
    }
    return values;
}

PresetType TuningFileParser::getIeqPresetTypeByName(const std::string& name) {
    // "off" first: a name such as "warm_off" switches the equalizer off.
    if (name.find("off") != std::string::npos) return PRESET_OFF;
    if (name.find("balanced") != std::string::npos) return PRESET_BALANCED;
    if (name.find("warm") != std::string::npos) return PRESET_WARM;
    if (name.find("detailed") != std::string::npos) return PRESET_DETAILED;
    HeldWalkOutput::log(ANDROID_LOG_ERROR, "name is invalid, %d", kTagInvalidPresetName);
    return PRESET_OFF;
}

void TuningFileParser::parseFormatVersion(xmlNodePtr node) {
    mFormatVersion = read_version(node);
    if (mDiagnostics != nullptr) {
        diagnoseAttributes(node, {kMajorAttr, kMinorAttr, kMaintenanceAttr});
        mDiagnostics->formatVersionRead(xmlGetLineNo(node));
    }
}

void TuningFileParser::parseToolVersion(xmlNodePtr node) {
    mToolVersion = read_version(node);
    diagnoseAttributes(node, {kMajorAttr, kMinorAttr, kMaintenanceAttr});
}

void TuningFileParser::parsePreset(xmlNodePtr node) {
    std::string id = prop(node, kIdAttr);
    std::string type = prop(node, kTypeAttr);
    // Band values are gathered as "v1,v2,...," texts and converted at the end, like every
    // stored list.
    std::string frequencies;
    std::string levels;
    diagnoseAttributes(node, {kIdAttr, kTypeAttr});
    // Each band adds one element to each list; a band without one of them puts every later
    // band of that list one place off.
    auto diagnoseBand = [this](xmlNodePtr band, const char* level) {
        if (mDiagnostics == nullptr) return;
        diagnoseAttributes(band, {kFrequencyAttr, level});
        for (const char* name : {kFrequencyAttr, level}) {
            XmlString text(xmlGetProp(band, reinterpret_cast<const xmlChar*>(name)));
            if (text.get() == nullptr) {
                diagnose(Severity::kWarning, band, [&] {
                    return "band without '" + std::string(name) +
                           "': every later band of that list moves up one place";
                });
            } else {
                std::string value = xmlChar2String(text.get());
                diagnoseNumber(band, std::string(name), value, string2int(value));
            }
        }
    };
    if (type == kIeqType) {
        auto preset = std::make_unique<IeqPreset>(ieq_preset_type_by_id(id));
        if (mDiagnostics != nullptr && id.find("detailed") == std::string::npos &&
            id.find("balanced") == std::string::npos && id.find("warm") == std::string::npos &&
            id.find("off") == std::string::npos) {
            diagnose(Severity::kWarning, node, [&] {
                return "IEQ preset id '" + id +
                       "' names no preset type (detailed, balanced, warm, off); read as "
                       "balanced";
            });
        }
        for (xmlNodePtr band = node->children; band != nullptr; band = band->next) {
            if (is_element(band) && !is_element_named(band, kIeqBandElement)) {
                diagnoseUnknownChild(band, "an IEQ preset");
            }
            if (!is_element_named(band, kIeqBandElement)) continue;
            diagnoseBand(band, kTargetAttr);
            for (xmlAttrPtr attr = band->properties; attr != nullptr; attr = attr->next) {
                if (attr_name(attr) == kFrequencyAttr) {
                    frequencies += attr_text(attr) + ",";
                } else if (attr_name(attr) == kTargetAttr) {
                    levels += attr_text(attr) + ",";
                }
            }
        }
        preset->set(ieq_frequency, string_2_int_vector(frequencies));
        preset->set(ieq_target, string_2_int_vector(levels));
        if (mDiagnostics != nullptr) mDiagnostics->recordRead(preset.get(), xmlGetLineNo(node));
        mIeqPresets.insert(std::move(preset));
    } else if (type == kGeqType) {
        // A GEQ preset's id is the id of the profile it belongs to.
        auto preset = std::make_unique<GeqPreset>(std::atoi(id.c_str()));
        diagnoseNumber(node, "GEQ preset id", id, std::atoi(id.c_str()));
        for (xmlNodePtr band = node->children; band != nullptr; band = band->next) {
            if (!is_element(band)) continue;
            diagnoseBand(band, kGainAttr);
            for (xmlAttrPtr attr = band->properties; attr != nullptr; attr = attr->next) {
                if (attr_name(attr) == kFrequencyAttr) {
                    frequencies += attr_text(attr) + ",";
                } else if (attr_name(attr) == kGainAttr) {
                    levels += attr_text(attr) + ",";
                }
            }
        }
        preset->set(geq_frequency, string_2_int_vector(frequencies));
        preset->set(geq_gain, string_2_int_vector(levels));
        if (mDiagnostics != nullptr) mDiagnostics->recordRead(preset.get(), xmlGetLineNo(node));
        mGeqPresets.insert(std::move(preset));
    } else {
        diagnose(Severity::kError, node, [&] {
            return "preset '" + id + "' has type '" + type + "', neither ieq nor geq; dropped";
        });
    }
}

void TuningFileParser::parseProfile(xmlNodePtr node) {
    int profileId = std::atoi(prop(node, kIdAttr).c_str());
    std::string name = prop(node, kNameAttr);

    Slot data = first_element_child(node);
    if (data.kind != Slot::kElement) {
        HeldWalkOutput::log(ANDROID_LOG_ERROR, "Profile %d [%s] at line %ld dropped: %s", profileId,
                            name.c_str(), xmlGetLineNo(node),
                            slot_problem(data, "data block").c_str());
        diagnose(Severity::kError, node, [&] {
            return "profile " + std::to_string(profileId) + " [" + name +
                   "] dropped: " + slot_problem(data, "data block");
        });
        return;
    }
    diagnoseAttributes(node, {kIdAttr, kNameAttr});
    diagnoseNumber(node, "profile id", prop(node, kIdAttr), profileId);

    // The include is optional: without it the profile starts with the "off" preset.
    std::string presetName;
    Slot include = next_element(data.node);
    if (include.kind == Slot::kElement && is_element_named(include.node, kIncludeElement)) {
        xmlAttrPtr first = include.node->properties;
        if (first != nullptr && attr_name(first) == kPresetAttr) presetName = attr_text(first);
        if (first == nullptr || attr_name(first) != kPresetAttr) {
            diagnose(Severity::kWarning, include.node, [] {
                return std::string(
                    "<include> has no 'preset' as its first attribute; the "
                    "profile starts with the IEQ preset off");
            });
        }
    } else if (include.kind == Slot::kBroken && is_element(include.node)) {
        HeldWalkOutput::log(ANDROID_LOG_WARN, "Profile %d [%s]: %s", profileId, name.c_str(),
                            slot_problem(include, "include element").c_str());
        diagnose(Severity::kWarning, include.node, [&] {
            return "profile " + std::to_string(profileId) + ": " +
                   slot_problem(include, "include element") +
                   "; the profile starts with the IEQ preset off";
        });
    } else if (include.kind == Slot::kElement) {
        diagnose(Severity::kWarning, include.node, [&] {
            return "<" + std::string(node_name(include.node)) +
                   "> stands where <include> belongs and is taken as no include; the profile "
                   "starts with the IEQ preset off";
        });
    } else {
        diagnose(Severity::kWarning, node, [&] {
            return "profile " + std::to_string(profileId) +
                   " has no <include>; it starts with the IEQ preset off";
        });
    }
    if (mDiagnostics != nullptr && !presetName.empty() &&
        presetName.find("off") == std::string::npos &&
        presetName.find("balanced") == std::string::npos &&
        presetName.find("warm") == std::string::npos &&
        presetName.find("detailed") == std::string::npos) {
        diagnose(Severity::kWarning, include.node, [&] {
            return "preset name '" + presetName +
                   "' names no IEQ preset type; the profile starts with the IEQ preset off";
        });
    }
    Profile* const profile =
        mProfiles
            .insert(std::make_unique<Profile>(profileId, name, getIeqPresetTypeByName(presetName)))
            .first->get();
    if (mDiagnostics != nullptr) mDiagnostics->recordRead(profile, xmlGetLineNo(node));
    mProfileNames[profileId] = name;
    ++mNumOfProfiles;

    const KeyMap& keys = profile_keys();
    for (xmlNodePtr child = data.node->children; child != nullptr; child = child->next) {
        if (!is_element(child)) continue;
        std::string_view childName = node_name(child);
        if (childName == kEndpointTypeElement) {
            parseProfileEndpoint(child, profileId);
            continue;
        }
        auto key = keys.find(childName);
        if (key == keys.end()) {
            skipChild(child, RecordKind::Profile, "a profile");
            continue;
        }
        if (childName == kProfileDataRowKey) {
            profile->set(key->second, parseDataRow(child));
            diagnoseDataRow(child);
        } else {
            profile->set(key->second, {getNodeValue(child)});
            diagnoseSingleValue(child, getNodeValue(child));
        }
    }
}

void TuningFileParser::parseProfileEndpoint(xmlNodePtr node, int profileId) {
    ProfileEndpoint* const endpoint = mProfileEndpoints
                                          .insert(std::make_unique<ProfileEndpoint>(
                                              profileId, profile_endpoint(prop(node, kIdAttr))))
                                          .first->get();
    if (mDiagnostics != nullptr) {
        mDiagnostics->recordRead(endpoint, xmlGetLineNo(node));
        diagnoseAttributes(node, {kIdAttr});
        const std::string id = prop(node, kIdAttr);
        if (id != kSpeaker && id != kHeadphone && id != kOther) {
            diagnose(Severity::kWarning, node, [&] {
                return "endpoint '" + id + "' is neither speaker nor headphone; read as other";
            });
        }
    }
    const KeyMap& keys = profile_endpoint_keys();
    for (xmlNodePtr child = node->children; child != nullptr; child = child->next) {
        if (!is_element(child)) continue;
        auto key = keys.find(node_name(child));
        if (key != keys.end()) {
            endpoint->set(key->second, {getNodeValue(child)});
            diagnoseSingleValue(child, getNodeValue(child));
        } else {
            skipChild(child, RecordKind::ProfileEndpoint, "a profile endpoint");
        }
    }
}

void TuningFileParser::parseTuning(xmlNodePtr node) {
    std::string name = prop(node, kNameAttr);
    auto tuning = std::make_unique<Tuning>(name, tuning_endpoint(prop(node, kEndpointTypeAttr)),
                                           prop(node, kMonoDeviceAttr) == kTrue);
    tuning->set(orientation, {string2int(prop(node, kOrientationAttr))});
    tuning->set(output_channels, {string2int(prop(node, kOutputChannelsAttr))});

    if (mDiagnostics != nullptr) {
        diagnoseAttributes(node, {kNameAttr, kEndpointTypeAttr, kMonoDeviceAttr, kOrientationAttr,
                                  kOutputChannelsAttr});
        const std::string endpoint = prop(node, kEndpointTypeAttr);
        if (endpoint != kSpeaker && endpoint != kHeadphone && endpoint != kOther) {
            diagnose(Severity::kWarning, node, [&] {
                return "tuning '" + name + "': endpoint_type '" + endpoint +
                       "' is no endpoint; read as speaker";
            });
        }
        const std::string mono = prop(node, kMonoDeviceAttr);
        if (mono != kTrue && mono != kFalse) {
            diagnose(Severity::kWarning, node, [&] {
                return "tuning '" + name + "': mono_device '" + mono +
                       "' is neither true nor false; read as false";
            });
        }
        for (const char* attr : {kOrientationAttr, kOutputChannelsAttr}) {
            diagnoseNumber(node, std::string(attr), prop(node, attr), string2int(prop(node, attr)));
        }
    }
    Slot slot = first_element_child(node);
    while (slot.kind == Slot::kElement && is_element_named(slot.node, kDeviceIdElement)) {
        parseDeviceTuning(slot.node, name);
        slot = next_element(slot.node);
    }
    // Device entries read so far stay even when the tuning is dropped: they name the tuning,
    // and the store keeps them apart from the tunings themselves.
    if (slot.kind == Slot::kMissing) {
        HeldWalkOutput::log(ANDROID_LOG_ERROR, "There is no <data> in Tuning section");
        diagnose(Severity::kError, node, [&] {
            return "tuning '" + name +
                   "' has no data block; dropped (its devices stay and name a tuning that does "
                   "not exist)";
        });
        return;
    }
    if (slot.kind == Slot::kBroken) {
        HeldWalkOutput::log(ANDROID_LOG_ERROR, "Tuning [%s] at line %ld dropped: %s", name.c_str(),
                            xmlGetLineNo(node), slot_problem(slot, "data block").c_str());
        diagnose(Severity::kError, node, [&] {
            return "tuning '" + name + "' dropped: " + slot_problem(slot, "data block");
        });
        return;
    }
    if (mDiagnostics != nullptr) {
        if (node_name(slot.node) != "data") {
            diagnose(Severity::kWarning, slot.node, [&] {
                return "<" + std::string(node_name(slot.node)) +
                       "> is taken as the tuning's data block by its position";
            });
        }
        for (Slot after = next_element(slot.node); after.kind == Slot::kElement;
             after = next_element(after.node)) {
            diagnoseUnknownChild(after.node, "a tuning after its data block");
        }
    }
    if (!parseTuningData(slot.node, tuning.get())) return;
    if (mDiagnostics != nullptr) mDiagnostics->recordRead(tuning.get(), xmlGetLineNo(node));
    mTunings.insert(std::move(tuning));
}

void TuningFileParser::parseDeviceTuning(xmlNodePtr node, const std::string& tuningName) {
    DeviceTuning* const deviceTuning =
        mDeviceTunings
            .insert(std::make_unique<DeviceTuning>(prop(node, kIdAttr),
                                                   prop(node, kEndpointPortAttr), tuningName))
            .first->get();
    if (mDiagnostics != nullptr) {
        mDiagnostics->recordRead(deviceTuning, xmlGetLineNo(node));
        diagnoseAttributes(node, {kIdAttr, kEndpointPortAttr});
    }
}

bool TuningFileParser::parseTuningData(xmlNodePtr data, Tuning* tuning) {
    Slot optimizer = first_element_child(data);
    Slot regulator = optimizer.kind == Slot::kElement ? next_element(optimizer.node) : optimizer;
    if (optimizer.kind != Slot::kElement || regulator.kind != Slot::kElement) {
        const Slot& bad = optimizer.kind != Slot::kElement ? optimizer : regulator;
        const char* what = optimizer.kind != Slot::kElement ? "audio-optimizer band table"
                                                            : "regulator band table";
        HeldWalkOutput::log(ANDROID_LOG_ERROR, "Tuning [%s] at line %ld dropped: %s",
                            tuning->getName().c_str(), xmlGetLineNo(data->parent),
                            slot_problem(bad, what).c_str());
        diagnose(Severity::kError, data->parent, [&] {
            return "tuning '" + tuning->getName() + "' dropped: " + slot_problem(bad, what);
        });
        return false;
    }
    // The band tables are known by position only. Say so when a parameter element sits
    // there: its value is lost and the table is read from it.
    for (const auto& entry :
         {std::pair{optimizer.node, "audio-optimizer"}, std::pair{regulator.node, "regulator"}}) {
        // Plain names, not a structured binding: the diagnostic's lambda captures them.
        const auto table = entry.first;
        const char* const what = entry.second;
        if (is_parameter_element(node_name(table))) {
            HeldWalkOutput::log(ANDROID_LOG_WARN,
                                "Tuning [%s]: <%s> at line %ld is read as the %s band table",
                                tuning->getName().c_str(), std::string(node_name(table)).c_str(),
                                xmlGetLineNo(table), what);
            diagnose(Severity::kWarning, table, [&] {
                return "<" + std::string(node_name(table)) + "> is read as the " + what +
                       " band table by its position; its own value is lost";
            });
        }
    }

    std::vector<int> frequency;
    std::vector<int> gainLeft;
    std::vector<int> gainRight;
    std::vector<int> gainLeftSurround;
    std::vector<int> gainRightSurround;
    for (xmlNodePtr band = optimizer.node->children; band != nullptr; band = band->next) {
        if (!is_element(band)) continue;
        if (mDiagnostics != nullptr) {
            diagnoseAttributes(band, {kFrequencyAttr, kGainLeftAttr, kGainRightAttr,
                                      kGainLeftSurroundAttr, kGainRightSurroundAttr});
            for (const char* attr : {kFrequencyAttr, kGainLeftAttr, kGainRightAttr,
                                     kGainLeftSurroundAttr, kGainRightSurroundAttr}) {
                diagnoseNumber(band, std::string(attr), prop(band, attr),
                               string2int(prop(band, attr)));
            }
        }
        frequency.push_back(string2int(prop(band, kFrequencyAttr)));
        gainLeft.push_back(string2int(prop(band, kGainLeftAttr)));
        gainRight.push_back(string2int(prop(band, kGainRightAttr)));
        gainLeftSurround.push_back(string2int(prop(band, kGainLeftSurroundAttr)));
        gainRightSurround.push_back(string2int(prop(band, kGainRightSurroundAttr)));
    }
    tuning->set(audio_optimizer_frequency, frequency);
    tuning->set(audio_optimizer_gain_l, gainLeft);
    tuning->set(audio_optimizer_gain_r, gainRight);
    tuning->set(audio_optimizer_gain_ls, gainLeftSurround);
    tuning->set(audio_optimizer_gain_rs, gainRightSurround);

    std::vector<int> regFrequency;
    std::vector<int> thresholdLow;
    std::vector<int> thresholdHigh;
    std::vector<int> isolatedBand;
    for (xmlNodePtr band = regulator.node->children; band != nullptr; band = band->next) {
        if (!is_element(band)) continue;
        if (mDiagnostics != nullptr) {
            diagnoseAttributes(
                band, {kFrequencyAttr, kThresholdLowAttr, kThresholdHighAttr, kIsolatedBandAttr});
            for (const char* attr : {kFrequencyAttr, kThresholdLowAttr, kThresholdHighAttr}) {
                diagnoseNumber(band, std::string(attr), prop(band, attr),
                               string2int(prop(band, attr)));
            }
        }
        regFrequency.push_back(string2int(prop(band, kFrequencyAttr)));
        thresholdLow.push_back(string2int(prop(band, kThresholdLowAttr)));
        thresholdHigh.push_back(string2int(prop(band, kThresholdHighAttr)));
        isolatedBand.push_back(prop(band, kIsolatedBandAttr) == kTrue ? 1 : 0);
    }
    tuning->set(regulator_frequency, regFrequency);
    tuning->set(regulator_threshold_low, thresholdLow);
    tuning->set(regulator_threshold_high, thresholdHigh);
    tuning->set(regulator_isolated_band, isolatedBand);

    const KeyMap& keys = tuning_keys();
    for (xmlNodePtr child = regulator.node->next; child != nullptr; child = child->next) {
        if (!is_element(child)) continue;
        std::string_view name = node_name(child);
        if (name == kVirtualBassMixFreqsElement) {
            tuning->set(virtual_bass_mix_freq_low, {string2int(prop(child, kFrequencyLowAttr))});
            tuning->set(virtual_bass_mix_freq_high, {string2int(prop(child, kFrequencyHighAttr))});
        } else if (name == kVirtualBassSrcFreqsElement) {
            tuning->set(virtual_bass_src_freq_low, {string2int(prop(child, kFrequencyLowAttr))});
            tuning->set(virtual_bass_src_freq_high, {string2int(prop(child, kFrequencyHighAttr))});
        } else if (name == kOutputModeElement) {
            tuning->set(output_mix_matrix, parseMixMatrix(child));
        } else if (auto key = keys.find(name); key != keys.end()) {
            if (is_tuning_data_row_key(name)) {
                tuning->set(key->second, parseDataRow(child));
                diagnoseDataRow(child);
            } else {
                tuning->set(key->second, {getNodeValue(child)});
                diagnoseSingleValue(child, getNodeValue(child));
            }
        } else {
            skipChild(child, RecordKind::Tuning, "a tuning's data block");
        }
    }
    return true;
}

}  // namespace velora
