/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "bench/TuningFileGenerator.h"

#include <stdlib.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace velora::bench {

namespace {

// The value of attribute `name` in the opening tag that starts at tagBegin.
bool find_attribute(const std::string& text, size_t tagBegin, const std::string& name,
                    size_t* valueBegin, size_t* valueEnd) {
    size_t tagEnd = text.find('>', tagBegin);
    std::string key = " " + name + "=\"";
    size_t at = text.find(key, tagBegin);
    if (at == std::string::npos || at > tagEnd) return false;
    *valueBegin = at + key.size();
    *valueEnd = text.find('"', *valueBegin);
    return *valueEnd != std::string::npos && *valueEnd < tagEnd;
}

// Replaces the value of `name` in every opening tag "<tag " of text through `change`.
template <typename Change>
std::string change_attribute(std::string text, const std::string& tag, const std::string& name,
                             Change change) {
    std::string open = "<" + tag + " ";
    for (size_t at = text.find(open); at != std::string::npos; at = text.find(open, at + 1)) {
        size_t vb, ve;
        if (!find_attribute(text, at, name, &vb, &ve)) continue;
        std::string value = change(text.substr(vb, ve - vb));
        text.replace(vb, ve - vb, value);
    }
    return text;
}

}  // namespace

TuningFileGenerator::TuningFileGenerator(const std::string& exampleFile) {
    std::ifstream in(exampleFile, std::ios::binary);
    std::stringstream buffer;
    buffer << in.rdbuf();
    mText = buffer.str();
    mGeqPresets = findBlocks("preset", "type=\"geq\"");
    mProfiles = findBlocks("profile", "");
    mTunings = findBlocks("tuning", "");
    for (const Block& block : mProfiles) {
        size_t vb, ve;
        size_t tag = mText.find("<profile ", block.begin);
        if (find_attribute(mText, tag, "id", &vb, &ve)) {
            mProfileCount = std::max(mProfileCount, atoi(mText.substr(vb, ve - vb).c_str()) + 1);
        }
    }
    mOk = !mProfiles.empty() && !mTunings.empty() && mProfileCount > 0;
}

std::vector<TuningFileGenerator::Block> TuningFileGenerator::findBlocks(
    const std::string& name, const std::string& mustContain) const {
    std::vector<Block> blocks;
    std::string open = "<" + name + " ";
    std::string close = "</" + name + ">";
    size_t at = mText.find(open);
    while (at != std::string::npos) {
        size_t tagEnd = mText.find('>', at);
        size_t closeAt = mText.find(close, at);
        if (tagEnd == std::string::npos || closeAt == std::string::npos) break;
        if (mustContain.empty() ||
            mText.substr(at, tagEnd - at).find(mustContain) != std::string::npos) {
            size_t lineBegin = mText.rfind('\n', at);
            lineBegin = lineBegin == std::string::npos ? 0 : lineBegin + 1;
            size_t lineEnd = mText.find('\n', closeAt);
            lineEnd = lineEnd == std::string::npos ? mText.size() : lineEnd + 1;
            blocks.push_back({lineBegin, lineEnd});
            at = mText.find(open, lineEnd);
        } else {
            at = mText.find(open, tagEnd);
        }
    }
    return blocks;
}

std::string TuningFileGenerator::copyGeqPreset(const Block& block, int copy) const {
    int offset = copy * mProfileCount;
    return change_attribute(
        mText.substr(block.begin, block.end - block.begin), "preset", "id",
        [offset](const std::string& id) { return std::to_string(atoi(id.c_str()) + offset); });
}

std::string TuningFileGenerator::copyProfile(const Block& block, int copy) const {
    int offset = copy * mProfileCount;
    std::string text = mText.substr(block.begin, block.end - block.begin);
    text = change_attribute(text, "profile", "id", [offset](const std::string& id) {
        return std::to_string(atoi(id.c_str()) + offset);
    });
    return change_attribute(text, "profile", "name", [copy](const std::string& name) {
        return name + " " + std::to_string(copy + 1);
    });
}

std::string TuningFileGenerator::copyTuning(const Block& block, int copy) const {
    std::string suffix = "_copy" + std::to_string(copy + 1);
    auto rename = [&suffix](const std::string& name) { return name + suffix; };
    std::string text = mText.substr(block.begin, block.end - block.begin);
    text = change_attribute(text, "tuning", "name", rename);
    return change_attribute(text, "device_id", "id", rename);
}

std::string TuningFileGenerator::generate(int scale) const {
    if (!mOk || scale <= 1) return mText;
    // The copies of each kind follow the last original of that kind, so the sections keep
    // the example's order.
    struct Insertion {
        size_t at;
        std::string text;
    };
    std::vector<Insertion> insertions;
    if (!mGeqPresets.empty()) {
        std::string text;
        for (int copy = 1; copy < scale; ++copy) {
            for (const Block& block : mGeqPresets) text += copyGeqPreset(block, copy);
        }
        insertions.push_back({mGeqPresets.back().end, text});
    }
    std::string profiles;
    for (int copy = 1; copy < scale; ++copy) {
        for (const Block& block : mProfiles) profiles += copyProfile(block, copy);
    }
    insertions.push_back({mProfiles.back().end, profiles});
    std::string tunings;
    for (int copy = 1; copy < scale; ++copy) {
        for (const Block& block : mTunings) tunings += copyTuning(block, copy);
    }
    insertions.push_back({mTunings.back().end, tunings});
    std::sort(insertions.begin(), insertions.end(),
              [](const Insertion& a, const Insertion& b) { return a.at < b.at; });

    std::string out;
    size_t from = 0;
    for (const Insertion& insertion : insertions) {
        out.append(mText, from, insertion.at - from);
        out += insertion.text;
        from = insertion.at;
    }
    out.append(mText, from, std::string::npos);
    return out;
}

bool TuningFileGenerator::write(int scale, const std::string& path) const {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << generate(scale);
    return static_cast<bool>(out);
}

}  // namespace velora::bench
