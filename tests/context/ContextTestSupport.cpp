/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "ContextTestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "testutil/TempRoot.h"

namespace velora::testing {

std::string read_source_file(const std::string& relativePath) {
    std::ifstream in(TempRoot::sourceDir() + "/" + relativePath, std::ios::binary);
    EXPECT_TRUE(in.good()) << relativePath;
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string replace_once(const std::string& text, const std::string& from, const std::string& to) {
    size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << "missing: " << from;
    if (at == std::string::npos) return text;
    std::string result = text;
    result.replace(at, from.size(), to);
    return result;
}

}  // namespace velora::testing
