/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tools/common/ArgumentParser.h"
#include "tools/common/Json.h"
#include "tools/veloractl/CommandLine.h"
#include "tools/veloractl/Controller.h"
#include "tools/veloractl/ExternalParameter.h"
#include "tools/veloractl/PackedBuffer.h"
#include "tools/veloractl/TextParsing.h"
#include "tools/veloractl/UpdateDecoder.h"

namespace velora {
namespace {

TEST(VeloractlTextTest, NumbersMustBeWholeAndInRange) {
    int value = 0;
    EXPECT_TRUE(parse_int("-576", &value));
    EXPECT_EQ(-576, value);
    EXPECT_TRUE(parse_int("010", &value));
    EXPECT_EQ(10, value) << "a leading zero is no octal on a command line";
    EXPECT_TRUE(parse_int("0x10", &value));
    EXPECT_EQ(16, value);
    for (const char* bad : {"", " 1", "12abc", "1.5", "2147483648", "--1"}) {
        EXPECT_FALSE(parse_int(bad, &value)) << bad;
    }
}

TEST(VeloractlTextTest, CodesPortsAndParametersByNameOrNumber) {
    uint32_t code = 0;
    EXPECT_TRUE(parse_four_cc("ADEV", &code));
    EXPECT_EQ(0x41444556u, code);
    EXPECT_EQ("RLTF", four_cc_text(0x524c5446));
    EXPECT_FALSE(parse_four_cc("ADE", &code));
    EXPECT_FALSE(parse_four_cc("AD V", &code));

    int port = -1;
    EXPECT_TRUE(parse_port("internal-speaker", &port));
    EXPECT_EQ(0, port);
    EXPECT_TRUE(parse_port("USB", &port));
    EXPECT_EQ(5, port);
    EXPECT_FALSE(parse_port("7", &port));
    EXPECT_FALSE(parse_port("-1", &port));

    ASSERT_NE(nullptr, ExternalParameter::find("Volume_Leveler_Enable"));
    EXPECT_EQ(103, ExternalParameter::find("Volume_Leveler_Enable")->id);
    EXPECT_EQ(110, ExternalParameter::find("110")->id);
    EXPECT_EQ(nullptr, ExternalParameter::find("100"));
    EXPECT_EQ(nullptr, ExternalParameter::find("113"));
    for (const ExternalParameter& parameter : ExternalParameter::kTable) {
        EXPECT_EQ(&parameter, ExternalParameter::find(parameter.name));
    }
}

TEST(VeloractlTextTest, OptionsAnywhereButNegativeValuesStayArguments) {
    CommandLine line;
    ArgumentParser parser("veloractl", "");
    Controller::defineCommandLine(parser, &line);
    std::ostringstream out, err;
    ASSERT_FALSE(parser.parse(
        {"set", "--json", "0", "geq-gains", "-5", "--port", "usb", "--root", "/r"}, out, err))
        << err.str();
    EXPECT_EQ("set", line.command);
    EXPECT_EQ((std::vector<std::string>{"0", "geq-gains", "-5"}), line.arguments);
    EXPECT_TRUE(line.json);
    EXPECT_EQ("usb", line.port.value_or(""));
    EXPECT_EQ("/r", line.root);

    CommandLine bad;
    ArgumentParser other("veloractl", "");
    Controller::defineCommandLine(other, &bad);
    EXPECT_EQ(EXIT_USAGE, other.parse({"status", "--socket"}, out, err));
    EXPECT_THAT(err.str(), ::testing::HasSubstr("--socket: 1 required PATH missing"));
}

TEST(VeloractlTextTest, PackedGetPutsTheCommandInByteThree) {
    const std::string request = packed_get_request(kGetProfileCount, 0, 0);
    ASSERT_EQ(12u, request.size());
    EXPECT_EQ(std::string("\0\0\0\x03", 4), request.substr(0, 4));
    EXPECT_EQ(0x35, packed_profile_port(3, 5));
    EXPECT_EQ(std::string("\0\0\0\x0a", 4),
              packed_set_buffer(kSetSelectedProfile, {2}).substr(0, 4));
}

TEST(VeloractlTextTest, TheAppliedEchoDiffersInWordOneOnly) {
    const std::string sent = pack_words({0x01000000, 0, 1, 107, 9});
    EXPECT_TRUE(is_applied_echo(sent, pack_words({0x01000000, 42, 1, 107, 9})));
    EXPECT_FALSE(is_applied_echo(sent, pack_words({0x01000000, 0, 1, 107, 8})));
    EXPECT_FALSE(is_applied_echo(sent, pack_words({0x01000000, 0, 1, 107})));
}

TEST(VeloractlTextTest, CallbacksAreDecodedByShapeAndWordedAsRequests) {
    DecodedUpdate set = decode_update(pack_words({0x01000000, 0, 2, 103, 1}));
    EXPECT_EQ("set-parameter-request", set.kind);
    EXPECT_EQ("profile 2: volume-leveler-enable (103) = 1 requested", set.summary);

    // The service echoes requests it could not carry out just the same.
    DecodedUpdate select = decode_update(pack_words({0x0A000000, 9, 9}));
    EXPECT_EQ("profile 9 requested", select.summary);
    EXPECT_EQ(9, select.json["requestedProfile"]);
    DecodedUpdate registered = decode_update(pack_words({0x72656763, 1, 4242}));
    EXPECT_EQ("register-request", registered.kind);
    EXPECT_EQ("registration requested: uid 4242 type 1", registered.summary);

    EXPECT_EQ("tuning-device-request", decode_update("default_usb").kind);
    EXPECT_EQ("no-data", decode_update("").kind);
    DecodedUpdate raw = decode_update(std::string("\x01\x02", 2));
    EXPECT_EQ("bytes", raw.kind);
    EXPECT_NE(std::string::npos, json_dump(raw.json).find("\"bytes\":\"0102\""));
}

TEST(VeloractlTextTest, JsonStringsStayValidForAnyBytesAndBadDocumentsSayWhere) {
    Json value = {{"name", json_text(std::string("a\"b\\c\n\x01\xe9", 8))}, {"n", -3}};
    EXPECT_EQ("{\"name\":\"a\\\"b\\\\c\\n\\u0001\\u00e9\",\"n\":-3}", json_dump(value));
    EXPECT_EQ("{\"name\":\"\\u00e9\"}", json_dump(Json{{"name", json_text("\xc3\xa9")}}))
        << "valid UTF-8 is kept as the character it spells";

    Json parsed;
    std::string error;
    EXPECT_FALSE(json_parse("{\n  \"on\": true,\n  \"profile\": }", &parsed, &error));
    EXPECT_EQ(0u, error.find("line 3, column 14:")) << error;
    EXPECT_FALSE(json_parse("", &parsed, &error));
    EXPECT_TRUE(json_parse("{\"on\": false}", &parsed, &error)) << error;
    EXPECT_EQ(false, parsed["on"]);
}

}  // namespace
}  // namespace velora
