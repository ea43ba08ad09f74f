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
    translate(command, /*resend=*/false);
}

void ParameterTranslator::translate(SetParamCommand& command, bool resend) {
    // Without a view there is nothing to read; the pending work cannot be done later either.
    if (mSource != nullptr) {
        for (Translator* translator : mPending) {
            const size_t first = command.getBuffer().size();
            const int count = command.getCount();
            translator->pexTranslate(command, *mSource, mEndpoint, mMono);
            const std::vector<int>& words = command.getBuffer();
            Given now;
            now.words.assign(words.begin() + static_cast<long>(first), words.end());
            for (size_t at = first; at + 3 <= words.size();
                 at += 3 + static_cast<size_t>(words[at + 2])) {
                if (words[at + 2] > 0) now.ids.insert(static_cast<uint32_t>(words[at + 1]));
            }
            Given& before = mGiven[translator];
            if (!resend && now.words == before.words) {
                command.truncate(first, count);
                continue;
            }
            for (uint32_t id : before.ids) {
                if (now.ids.count(id) == 0) command.addEmpty(id);
            }
            before = std::move(now);
        }
    }
    mPending.clear();
}

void ParameterTranslator::markAll() {
    if (mSource == nullptr) return;
    for (Parameter parameter : mSource->getValidParams()) onParameterChanged(parameter);
}

void ParameterTranslator::translateAll(SetParamCommand& command) {
    markAll();
    translate(command, /*resend=*/true);
}

}  // namespace velora
