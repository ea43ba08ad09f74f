/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tuning/WalkWhileParsing.h"

#include <libxml/SAX2.h>
#include <libxml/parserInternals.h>

namespace velora {

XmlDocHolder WalkWhileParsing::parse(const std::string& path, int options, const Walk& walk) {
    XmlDocHolder doc;
    WalkWhileParsing self(walk);
    xmlParserCtxtPtr ctxt = xmlCreateURLParserCtxt(path.c_str(), options);
    if (ctxt == nullptr) return doc;
    xmlCtxtUseOptions(ctxt, options);
    ctxt->sax->startElementNs = &WalkWhileParsing::startElement;
    ctxt->_private = &self;
    self.mContext = ctxt;
    xmlParseDocument(ctxt);
    if (ctxt->wellFormed) {
        doc.reset(ctxt->myDoc);
    } else {
        xmlFreeDoc(ctxt->myDoc);
    }
    ctxt->myDoc = nullptr;
    xmlFreeParserCtxt(ctxt);
    return doc;
}

void WalkWhileParsing::startElement(void* context, const xmlChar* localName, const xmlChar* prefix,
                                    const xmlChar* uri, int namespaceCount,
                                    const xmlChar** namespaces, int attributeCount,
                                    int defaultedCount, const xmlChar** attributes) {
    auto* ctxt = static_cast<xmlParserCtxtPtr>(context);
    auto* self = static_cast<WalkWhileParsing*>(ctxt->_private);
    // An entity's content is read in a context of its own (which libxml2 gives the same
    // private pointer) or under a temporary root: neither is the document's root element.
    const bool ownContext = self != nullptr && ctxt == self->mContext;
    xmlNodePtr parent = ctxt->node;
    if (ownContext && self->mRoot != nullptr && parent == self->mRoot) self->mWalk(parent);
    const bool rootStarts = ownContext && self->mRoot == nullptr && parent == nullptr;
    xmlSAX2StartElementNs(context, localName, prefix, uri, namespaceCount, namespaces,
                          attributeCount, defaultedCount, attributes);
    if (rootStarts) self->mRoot = ctxt->node;
}

}  // namespace velora
