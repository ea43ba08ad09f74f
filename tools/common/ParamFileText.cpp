/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/common/ParamFileText.h"

#include <cerrno>
#include <cstring>

namespace velora {

std::string describe_param_file_error(int result) {
    switch (-result) {
        case EISDIR:
            return "it is a folder, not a parameter file";
        case EBADMSG:
            return "it is not a whole parameter file (damaged, or its writer stopped half-way "
                   "through a change; the service starts it over with its next change)";
        case EAGAIN:
            return "a change was being written for too long; try again";
        default:
            return std::strerror(-result);
    }
}

}  // namespace velora
