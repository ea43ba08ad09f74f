/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "effect/PexParameter.h"

#include <cstring>

namespace velora {

// Plain character pointers: constant-initialised, usable from any static initialiser.
const char* const kPexParameterCodes[kPexParameterCount] = {
    "VOL",  "PSTG", "PREG", "PLB",  "NGON", "DEON", "DEA",  "DED",  "VMB",  "DVME", "DVMC",
    "DVLE", "DVLA", "DVLI", "DVLO", "DVLC", "IEON", "IEA",  "AROD", "ARTP", "GEON", "AOON",
    "VCNB", "VCBF", "VER",  "IEBS", "ARDS", "ARON", "ARDE", "ARSA", "ARBS", "ARTI", "DOM",
    "DSB",  "GEBS", "BEON", "BEB",  "BECF", "BEW",  "VBON", "VBM",  "VBSF", "VBOG", "VBSG",
    "VBHG", "VBMF", "AOBS", "MSCE", "MIEE", "MDLE", "MAVE", "VCBS", "VNBS", "DMC",  "DHFM",
    "DFSA", "DSA",  "DHSA", "SVSB", "CEON", "CEQT", "DPLP", "MVBE", "RSSE", "RSSA", "IEID",
    "DRCM", "HPON", "HPTW", "HPAT", "HPAA", "HPAR", "BMDE", "BMDT",
};

uint32_t pex_code_to_id(const char* code) {
    if (code == nullptr) {
        return 0;
    }
    const size_t length = strlen(code);
    if (length == 0 || length > 4) {
        return 0;
    }
    uint32_t id = 0;
    for (size_t i = 0; i < length; ++i) {
        unsigned char c = static_cast<unsigned char>(code[i]);
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<unsigned char>(c - 'A' + 'a');
        }
        id |= static_cast<uint32_t>(c) << (8 * i);
    }
    return id;
}

const char* pex_parameter_code(PexParameter parameter) {
    if (parameter < 0 || parameter >= kPexParameterCount) {
        return "";
    }
    return kPexParameterCodes[parameter];
}

uint32_t pex_parameter_id(PexParameter parameter) {
    return pex_code_to_id(pex_parameter_code(parameter));
}

}  // namespace velora
