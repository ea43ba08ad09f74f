/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// veloractl's two readers of foreign text: the decoder that turns callback buffers from the
// service into lines for people, and the parsing of what the user typed (the command line
// itself and each of its values: integers, four-character codes, ports, parameter names,
// device-name lists).
//
// Input: one byte choosing the reader (even: callback buffer; odd: command line), then the
// callback bytes, or the words of a command line separated by zero bytes.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "common/FuzzSupport.h"
#include "tools/common/ArgumentParser.h"
#include "tools/veloractl/CommandLine.h"
#include "tools/veloractl/Controller.h"
#include "tools/veloractl/ExternalParameter.h"
#include "tools/veloractl/TextParsing.h"
#include "tools/veloractl/UpdateDecoder.h"

using velora::fuzz::FuzzInput;

namespace {

volatile size_t gSink;

void parse_values(const std::string& word) {
    int number = 0;
    int64_t wide = 0;
    uint32_t code = 0;
    int port = 0;
    velora::parse_int(word, &number);
    velora::parse_int64(word, &wide);
    if (velora::parse_four_cc(word, &code)) gSink = velora::four_cc_text(code).size();
    if (velora::parse_port(word, &port)) gSink = velora::port_name(port).size();
    const velora::ExternalParameter* parameter = velora::ExternalParameter::find(word);
    if (parameter != nullptr) gSink = velora::ExternalParameter::byId(parameter->id)->length;
}

void parse_command_line(const std::string& text) {
    std::vector<std::string> words{"veloractl"};
    size_t start = 0;
    for (;;) {
        size_t end = text.find('\0', start);
        words.push_back(text.substr(start, end == std::string::npos ? end : end - start));
        if (end == std::string::npos) break;
        start = end + 1;
    }
    std::vector<const char*> argv;
    for (const std::string& word : words) argv.push_back(word.c_str());
    argv.push_back(nullptr);

    velora::CommandLine line;
    velora::ArgumentParser parser("veloractl", "");
    velora::Controller::defineCommandLine(parser, &line);
    std::ostringstream out;
    if (!parser.parse(static_cast<int>(words.size()), argv.data(), out, out)) {
        for (const std::string& argument : line.arguments) parse_values(argument);
        if (line.port) parse_values(*line.port);
    }
    for (size_t i = 1; i < words.size(); ++i) parse_values(words[i]);
    gSink = velora::split_packed_names(text).size();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool quiet = (velora::fuzz::quiet_log(), true);
    (void)quiet;
    FuzzInput in(data, size);
    const uint8_t kind = in.byte();
    const std::string rest = in.rest();
    if ((kind & 1) == 0) {
        velora::DecodedUpdate update = velora::decode_update(rest);
        gSink = update.kind.size() + update.summary.size();
        gSink = velora::hex_bytes(rest).size() + velora::printable(rest).size();
    } else {
        parse_command_line(rest);
    }
    return 0;
}
