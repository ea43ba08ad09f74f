/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/velora-inspect/Subcommands.h"

#include "tools/velora-inspect/InspectDb.h"
#include "tools/velora-inspect/InspectEffect.h"
#include "tools/velora-inspect/InspectLint.h"
#include "tools/velora-inspect/InspectPlot.h"
#include "tools/velora-inspect/InspectTuning.h"

namespace velora::inspect {

const std::vector<const Subcommand*>& subcommands() {
    // A new subcommand adds its own source file and one line here.
    static const std::vector<const Subcommand*> kSubcommands = {
        &kTuningSubcommand, &kDbSubcommand, &kEffectSubcommand, &kLintSubcommand, &kPlotSubcommand,
    };
    return kSubcommands;
}

const Subcommand* find_subcommand(const std::string& name) {
    for (const Subcommand* subcommand : subcommands()) {
        if (name == subcommand->name) return subcommand;
    }
    return nullptr;
}

}  // namespace velora::inspect
