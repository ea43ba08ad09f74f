/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <libxml/tree.h>

#include <memory>

namespace velora {

// Frees a parsed libxml2 document with xmlFreeDoc.
struct XmlDocDeleter {
    void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};

// Sole owner of a parsed libxml2 document; every node pointer taken from it is valid only
// while the holder keeps the document.
using XmlDocHolder = std::unique_ptr<xmlDoc, XmlDocDeleter>;

}  // namespace velora
