/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <map>
#include <set>

#include "effect/Translator.h"
#include "model/Parameter.h"

namespace velora {

// Which translator serves which semantic parameter. Every translator of the library (52
// one-to-one translators and the nine that combine several parameters) is a constant object
// built at library load and listed in kAllTranslators; a collection maps each source
// parameter of each of them to its translator. Parameters that no translator reads
// (the bass extraction pair, the output channel count) map to nothing and never reach the
// effect.
//
// Read-only after construction, so one collection may serve every thread.
class TranslatorCollection {
  public:
    static const std::set<Translator*> kAllTranslators;

    TranslatorCollection();

    // The translator that reads parameter, or null when none does.
    Translator* getTranslator(Parameter parameter) const;

  private:
    std::map<Parameter, Translator*> mTranslators;
};

}  // namespace velora
