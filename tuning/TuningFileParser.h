/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <libxml/tree.h>

#include <initializer_list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "model/DeviceTuning.h"
#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/Parameter.h"
#include "model/PresetType.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"
#include "tuning/DeviceData.h"
#include "tuning/ReadLog.h"
#include "tuning/TuningDiagnostics.h"
#include "tuning/XmlDocHolder.h"
#include "tuning/XmlLibraryUse.h"

namespace velora {

// Reads one device tuning file (versions, IEQ and GEQ presets, profiles with their endpoint
// settings, tunings with the devices that select them) into settings records and hands them
// over as one DeviceData.
//
// The reader is lenient: unknown elements and most unknown attributes are skipped, and
// values that are missing or no numbers read as 0. Inside "profile" and "tuning" some
// elements are found by position in the indented layout that tuning files are written in;
// a profile or tuning whose layout breaks that rule is dropped with a log line rather than
// read from the wrong nodes.
//
// Memory: setTuningFile never holds the whole document. Each child of the root (a preset,
// profile or tuning) is read once the next one starts and is freed at once, so a read needs
// the records and about one section of the document, however large the file.
//
// Ownership: the parser owns every record it created and the DeviceData, and deletes them in
// its destructor; callers get raw pointers that are valid while the parser lives. A document
// opened with initXmlParser stays open until the next read.
//
// Threading: one thread at a time per parser. Parsers on different threads may coexist;
// libxml2's global state is set up with the first live parser and cleaned up with the last.
class TuningFileParser {
  public:
    TuningFileParser();
    explicit TuningFileParser(const std::string& path);
    TuningFileParser(const TuningFileParser&) = delete;
    TuningFileParser& operator=(const TuningFileParser&) = delete;
    virtual ~TuningFileParser();

    // Reads the file and replaces the DeviceData. Returns 0, or -EINVAL when the file cannot
    // be read as XML (the previous DeviceData then stays as it was). A document whose
    // sections are all missing or malformed still gives 0, with what could be read.
    int setTuningFile(const std::string& path);

    // Where the next reads report what they drop, ignore or read differently from what the
    // file says; null (the default) reports nothing. Not owned.
    void setDiagnostics(TuningDiagnostics* diagnostics) { mDiagnostics = diagnostics; }

    // Opens the document of the stored path: -EINVAL for an empty path or a file that is no
    // well-formed XML, -ENODEV for a document without a root element.
    int initXmlParser();

    // Walks the open document once more, adding what it reads to the parser's records.
    void parseTuningFile();

    bool isParsed() const { return mParsed; }
    DeviceData* getDeviceData() const { return mDeviceData.get(); }
    int getNumOfProfiles() const { return mNumOfProfiles; }
    // The name of a profile read from the file; an unknown id is entered with an empty name.
    std::string getProfileName(int profileId);

    // The lines the last read wrote to the log (libxml2's and the reader's own), for a
    // caller that uses one read where two were made.
    const ReadLog& getReadLog() const { return mReadLog; }

    std::string getFormatVersion() const { return mFormatVersion; }
    std::string getToolVersion() const { return mToolVersion; }

    // Copies a libxml2 string; null gives the empty string.
    static std::string xmlChar2String(const xmlChar* text);
    // The element's single value: its first attribute if that is named "value"; "true" is 1,
    // "false" is 0, other text goes through string2int. Anything else gives 0.
    static int getNodeValue(xmlNodePtr node);
    // The element's first attribute, whatever its name, as a comma-separated row of ints;
    // empty fields are dropped. No attribute gives an empty vector.
    static std::vector<int> parseDataRow(xmlNodePtr node);
    // The rows of the element's container child, each a data row, appended into one vector.
    static std::vector<int> parseMixMatrix(xmlNodePtr node);
    // The IEQ preset a profile's "include" names: "off", then "balanced", "warm", "detailed"
    // are searched for in that order; none of them is logged and gives PRESET_OFF.
    static PresetType getIeqPresetTypeByName(const std::string& name);
    // The root element of a document, or -ENODEV with its log line when it has none.
    static int findRootElement(xmlDocPtr doc, xmlNodePtr* root);

  private:
    using Severity = TuningDiagnostics::Severity;
    // Reports through the sink, if any; the message is only built when there is one.
    template <typename MakeMessage>
    void diagnose(Severity severity, xmlNodePtr node, MakeMessage makeMessage) {
        if (mDiagnostics != nullptr) {
            mDiagnostics->report(severity, node != nullptr ? xmlGetLineNo(node) : 0, makeMessage());
        }
    }
    void diagnoseAttributes(xmlNodePtr node, std::initializer_list<const char*> known);
    void diagnoseNumber(xmlNodePtr node, const std::string& what, const std::string& text,
                        int value);
    void diagnoseSingleValue(xmlNodePtr node, int value);
    void diagnoseDataRow(xmlNodePtr node);
    void diagnoseUnknownChild(xmlNodePtr child, const char* where);
    // Skips an element a record does not read: one that holds a parameter of another record
    // kind is dropped with a warning naming it and its line; any other is reported unread.
    void skipChild(xmlNodePtr child, RecordKind holder, const char* where);

    // The path check and the document check (read, has a root) of every read, with their
    // log lines and reports.
    bool checkPath();
    int checkDocument(xmlDocPtr doc, xmlNodePtr* root);
    // setTuningFile's read: parses and walks in one pass (see Memory above). Gives what
    // initXmlParser gives; a file that is not well-formed XML leaves the records as they were
    // and logs nothing of what was walked before the parse failed.
    int readWhileParsing();
    // parseNode on every element child of `root` in order; with `freeThem`, every child goes.
    void walkChildrenOf(xmlNodePtr root, bool freeThem);
    void parseNode(xmlNodePtr node);
    void parseFormatVersion(xmlNodePtr node);
    void parseToolVersion(xmlNodePtr node);
    void parsePreset(xmlNodePtr node);
    void parseProfile(xmlNodePtr node);
    void parseProfileEndpoint(xmlNodePtr node, int profileId);
    void parseTuning(xmlNodePtr node);
    void parseDeviceTuning(xmlNodePtr node, const std::string& tuningName);
    bool parseTuningData(xmlNodePtr data, Tuning* tuning);

    // Declared first, so that it is released after the document.
    XmlLibraryUse mLibrary;
    std::string mPath;
    XmlDocHolder mDoc;
    xmlNodePtr mRoot = nullptr;
    std::unique_ptr<DeviceData> mDeviceData;
    std::string mFormatVersion;
    std::string mToolVersion;
    // Ordered by address, as the views DeviceData gets.
    std::set<std::unique_ptr<IeqPreset>> mIeqPresets;
    std::set<std::unique_ptr<GeqPreset>> mGeqPresets;
    std::set<std::unique_ptr<Profile>> mProfiles;
    std::set<std::unique_ptr<ProfileEndpoint>> mProfileEndpoints;
    std::set<std::unique_ptr<Tuning>> mTunings;
    std::set<std::unique_ptr<DeviceTuning>> mDeviceTunings;
    std::map<int, std::string> mProfileNames;
    int mNumOfProfiles = 0;
    bool mParsed = false;
    TuningDiagnostics* mDiagnostics = nullptr;
    ReadLog mReadLog;
};

}  // namespace velora
