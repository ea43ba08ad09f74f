/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <functional>
#include <string>

#include "tuning/XmlDocHolder.h"

namespace velora {

// Parses a file as xmlReadFile does, and lets the caller walk the children of the document's
// root element while the rest is still being read: whenever a child of the root starts, every
// child before it is complete, and `walk` is called with the root. The walk may free the
// children it has seen. What libxml2 reads while it checks an entity's content (in a context
// of its own, under a temporary root) is never walked: a reference to an entity stays one node
// under the root, as in the document xmlReadFile gives.
class WalkWhileParsing {
  public:
    using Walk = std::function<void(xmlNodePtr root)>;

    // The document, or null when the file cannot be read or is not well-formed XML. The walk
    // of the children after the last one that started is left to the caller.
    static XmlDocHolder parse(const std::string& path, int options, const Walk& walk);

  private:
    explicit WalkWhileParsing(const Walk& walk) : mWalk(walk) {}
    // libxml2's start-of-element callback.
    static void startElement(void* context, const xmlChar* localName, const xmlChar* prefix,
                             const xmlChar* uri, int namespaceCount, const xmlChar** namespaces,
                             int attributeCount, int defaultedCount, const xmlChar** attributes);

    const Walk& mWalk;
    xmlParserCtxtPtr mContext = nullptr;
    xmlNodePtr mRoot = nullptr;  // the document's root element, once it started
};

}  // namespace velora
