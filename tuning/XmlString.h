/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <libxml/xmlmemory.h>
#include <libxml/xmlstring.h>

#include <memory>

namespace velora {

// Frees a string that libxml2 allocated (xmlGetProp, xmlNodeListGetString) with xmlFree.
struct XmlStringDeleter {
    void operator()(xmlChar* text) const { xmlFree(text); }
};

// Sole owner of a libxml2-allocated string; null when libxml2 had nothing to return.
using XmlString = std::unique_ptr<xmlChar, XmlStringDeleter>;

}  // namespace velora
