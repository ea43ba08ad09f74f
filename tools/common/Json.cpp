/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/common/Json.h"

#include <cstring>
#include <utility>

namespace velora {

namespace {

bool is_utf8(const std::string& bytes) {
    size_t i = 0;
    while (i < bytes.size()) {
        const unsigned char c = static_cast<unsigned char>(bytes[i]);
        size_t more = 0;
        if (c < 0x80) {
            more = 0;
        } else if (c >= 0xc2 && c <= 0xdf) {
            more = 1;
        } else if (c >= 0xe0 && c <= 0xef) {
            more = 2;
        } else if (c >= 0xf0 && c <= 0xf4) {
            more = 3;
        } else {
            return false;
        }
        if (i + more >= bytes.size() && more > 0) return false;
        for (size_t k = 1; k <= more; ++k) {
            if ((static_cast<unsigned char>(bytes[i + k]) & 0xc0) != 0x80) return false;
        }
        i += more + 1;
    }
    return true;
}

// Builds the document through nlohmann's own DOM builder, but keeps the first error's
// message instead of throwing it.
class CollectingParser {
  public:
    explicit CollectingParser(Json* out) : mBuilder(*out, /*allow_exceptions_=*/false) {}

    bool null() { return mBuilder.null(); }
    bool boolean(bool value) { return mBuilder.boolean(value); }
    bool number_integer(Json::number_integer_t value) { return mBuilder.number_integer(value); }
    bool number_unsigned(Json::number_unsigned_t value) { return mBuilder.number_unsigned(value); }
    bool number_float(Json::number_float_t value, const Json::string_t& text) {
        return mBuilder.number_float(value, text);
    }
    bool string(Json::string_t& value) { return mBuilder.string(value); }
    bool binary(Json::binary_t& value) { return mBuilder.binary(value); }
    bool start_object(std::size_t size) { return mBuilder.start_object(size); }
    bool key(Json::string_t& value) { return mBuilder.key(value); }
    bool end_object() { return mBuilder.end_object(); }
    bool start_array(std::size_t size) { return mBuilder.start_array(size); }
    bool end_array() { return mBuilder.end_array(); }
    bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                     const nlohmann::detail::exception& failure) {
        // "[json.exception.parse_error.101] parse error at line 3, column 14: ..." without the
        // library's prefix.
        std::string text = failure.what();
        const char* const kAt = "parse error at ";
        const size_t at = text.find(kAt);
        mError = at == std::string::npos ? text : text.substr(at + std::strlen(kAt));
        return false;
    }

    const std::string& error() const { return mError; }

  private:
    nlohmann::detail::json_sax_dom_parser<Json> mBuilder;
    std::string mError;
};

}  // namespace

Json json_text(const std::string& bytes) {
    if (is_utf8(bytes)) return Json(bytes);
    std::string text;
    for (unsigned char c : bytes) {
        if (c < 0x80) {
            text += static_cast<char>(c);
        } else {
            text += static_cast<char>(0xc0 | (c >> 6));
            text += static_cast<char>(0x80 | (c & 0x3f));
        }
    }
    return Json(std::move(text));
}

Json json_ints(const std::vector<int>& values) {
    Json list = Json::array();
    for (int value : values) list.push_back(value);
    return list;
}

std::string json_dump(const Json& json, int indent) {
    // Every string went through json_text or is the tool's own ASCII, so nothing is replaced;
    // the handler only keeps dump() from ever throwing.
    return json.dump(indent, ' ', /*ensure_ascii=*/true, Json::error_handler_t::replace);
}

bool json_parse(const std::string& text, Json* out, std::string* error) {
    Json result;
    CollectingParser parser(&result);
    const bool ok = Json::sax_parse(text, &parser, Json::input_format_t::json, /*strict=*/true);
    if (!ok || result.is_discarded()) {
        *error = parser.error().empty() ? "not a JSON document" : parser.error();
        return false;
    }
    *out = std::move(result);
    return true;
}

}  // namespace velora
