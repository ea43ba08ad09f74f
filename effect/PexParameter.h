/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstdint>

namespace velora {

// The effect's own parameter vocabulary: one member per parameter code the PEX effect reads
// from the shared parameter store. The value is the row of the code table below; the id that
// travels to the store is computed from the code text (pex_parameter_id), never stored.
enum PexParameter : int {
    VOL = 0,
    PSTG,
    PREG,
    PLB,
    NGON,
    DEON,
    DEA,
    DED,
    VMB,
    DVME,
    DVMC,
    DVLE,
    DVLA,
    DVLI,
    DVLO,
    DVLC,
    IEON,
    IEA,
    AROD,
    ARTP,
    GEON,
    AOON,
    VCNB,
    VCBF,
    VER,
    IEBS,
    ARDS,
    ARON,
    ARDE,
    ARSA,
    ARBS,
    ARTI,
    DOM,
    DSB,
    GEBS,
    BEON,
    BEB,
    BECF,
    BEW,
    VBON,
    VBM,
    VBSF,
    VBOG,
    VBSG,
    VBHG,
    VBMF,
    AOBS,
    MSCE,
    MIEE,
    MDLE,
    MAVE,
    VCBS,
    VNBS,
    DMC,
    DHFM,
    DFSA,
    DSA,
    DHSA,
    SVSB,
    CEON,
    CEQT,
    DPLP,
    MVBE,
    RSSE,
    RSSA,
    IEID,
    DRCM,
    HPON,
    HPTW,
    HPAT,
    HPAA,
    HPAR,
    BMDE,
    BMDT,
};

constexpr int kPexParameterCount = 74;

// The code of every PexParameter, indexed by its value: three or four upper-case letters.
extern const char* const kPexParameterCodes[kPexParameterCount];

// The store's id of a code: each letter in lower case, the first character in the lowest
// byte, so "DVLA" is 0x616C7664 and "VOL" (three letters) 0x006C6F76. A code of no letters
// or of more than four has no id and gives 0. Null gives 0.
uint32_t pex_code_to_id(const char* code);

// The store's id of a PexParameter, from its code; 0 for a value outside the table.
uint32_t pex_parameter_id(PexParameter parameter);

// The code of a PexParameter, or "" for a value outside the table.
const char* pex_parameter_code(PexParameter parameter);

}  // namespace velora
