/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <stdint.h>

#include <ostream>
#include <string>
#include <vector>

#include "tools/velora-inspect/Subcommand.h"

namespace velora::inspect {

// "velora-inspect effect [--root DIR]": reads the effect parameters the parameter store has
// published under the root, as the effect would read them now, and prints them per device:
// each parameter by its code and id, with its values.
int inspect_effect(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

// The code of an effect parameter id: its bytes from the lowest, upper-cased, up to the first
// zero byte ("DVLA" for 0x616C7664, "VOL" for 0x006C6F76). An id whose bytes are not letters
// is not a code: "?" then.
std::string effect_code_of(uint32_t id);

extern const Subcommand kEffectSubcommand;

}  // namespace velora::inspect
