/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>
#include <vector>

namespace velora::bench {

// Makes larger tuning files out of the shipped example, for measuring how start-up grows with
// the file: a file of scale k holds k times the example's profiles (with their GEQ presets
// and endpoint settings) and k times its tunings with their devices, each copy under new
// profile ids, new tuning names and new device names. Everything else of the example (the
// versions, the IEQ presets, the original records, among them the "default_<port>" devices
// every port starts on) is kept as it is, so the result is a valid tuning file that the OEM
// extra file still merges into.
//
// The copies keep the example's indentation line for line, since the reader finds some
// elements by position in the indented text.
class TuningFileGenerator {
  public:
    // Reads the example; ok() tells whether it had the expected sections.
    explicit TuningFileGenerator(const std::string& exampleFile);

    bool ok() const { return mOk; }
    // The document of the given scale (1 gives the example unchanged).
    std::string generate(int scale) const;
    // Writes generate(scale) to path; false when the file cannot be written.
    bool write(int scale, const std::string& path) const;

    int profiles(int scale) const { return mProfileCount * scale; }
    int tunings(int scale) const { return static_cast<int>(mTunings.size()) * scale; }

  private:
    struct Block {
        size_t begin;  // start of the block's first line
        size_t end;    // just after the newline that ends its closing tag
    };

    // Every block from "<name " to "</name>" whose opening tag contains `mustContain`.
    std::vector<Block> findBlocks(const std::string& name, const std::string& mustContain) const;
    std::string copyGeqPreset(const Block& block, int copy) const;
    std::string copyProfile(const Block& block, int copy) const;
    std::string copyTuning(const Block& block, int copy) const;

    std::string mText;
    std::vector<Block> mGeqPresets;
    std::vector<Block> mProfiles;
    std::vector<Block> mTunings;
    int mProfileCount = 0;  // highest profile id + 1: the id offset between copies
    bool mOk = false;
};

}  // namespace velora::bench
