/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "effect/ParameterTranslator.h"

#include "effect/SetParamCommand.h"
#include "effect/Translator.h"

namespace velora {

// Built after kAllTranslators (priority 103), whose translators it asks for their sources.
__attribute__((init_priority(104)))
const TranslatorCollection ParameterTranslator::sTranslatorCollection;

ParameterTranslator::ParameterTranslator()
    : mSource(nullptr), mEndpoint(ENDPOINT_OTHER), mMono(false) {}

ParameterTranslator::~ParameterTranslator() {}

void ParameterTranslator::setSource(ParameterValues* source, Endpoint endpoint, bool mono) {
    mSource = source;
    mEndpoint = endpoint;
    mMono = mono;
}

void ParameterTranslator::onParameterChanged(Parameter parameter) {
    Translator* translator = sTranslatorCollection.getTranslator(parameter);
    if (translator != nullptr) {
        mPending.insert(translator);
    }
}

void ParameterTranslator::translatePending(SetParamCommand& command) {
    // Without a view there is nothing to read; the pending work cannot be done later either.
    if (mSource != nullptr) {
        for (Translator* translator : mPending) {
            translator->pexTranslate(command, *mSource, mEndpoint, mMono);
        }
    }
    mPending.clear();
}

void ParameterTranslator::translateAll(SetParamCommand& command) {
    if (mSource != nullptr) {
        for (Parameter parameter : mSource->getValidParams()) {
            onParameterChanged(parameter);
        }
    }
    translatePending(command);
}

}  // namespace velora
