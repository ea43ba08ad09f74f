/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/velora-inspect/InspectEffect.h"

#include <errno.h>
#include <pexparamstorage/PexParamFileReader.h>
#include <pexparamstorage/PexParamStore.h>
#include <stdio.h>

#include "common/SystemPaths.h"
#include "tools/common/ArgumentParser.h"
#include "tools/common/ParamFileText.h"

namespace velora::inspect {

namespace {

std::string hex(uint32_t value) {
    char buffer[16];
    snprintf(buffer, sizeof(buffer), "0x%08x", value);
    return buffer;
}

}  // namespace

std::string effect_code_of(uint32_t id) {
    std::string code;
    for (int i = 0; i < 4; ++i) {
        const char c = static_cast<char>((id >> (8 * i)) & 0xFF);
        if (c == '\0') break;
        if (c < 'a' || c > 'z') return "?";
        code += static_cast<char>(c - 'a' + 'A');
    }
    // The id of a code keeps its letters in the low bytes: a letter after a zero byte, or no
    // letter at all, is something else.
    if (code.empty() || (code.size() < 4 && (id >> (8 * code.size())) != 0)) return "?";
    return code;
}

int inspect_effect(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    std::string root = "/";
    ArgumentParser arguments("velora-inspect effect", kEffectSubcommand.help);
    arguments.app()
        .add_option("--root", root, "the filesystem root (default /, or $VELORA_ROOT)")
        ->envname("VELORA_ROOT")
        ->type_name("DIR");
    if (auto status = arguments.parse(args, out, err)) return *status;

    SystemPaths::setRoot(root);
    const std::string path = android::PexParamStore::getPublishedPath();
    android::PexParamFileReader reader(path);
    android::KeyedVector<uint32_t, android::PexParamCache*> devices;
    int generation = 0;
    const int result = reader.read(&devices, /*changedOnly=*/false, &generation);
    if (result == -ENOENT) {
        err << "velora-inspect: nothing published yet: " << path << " does not exist\n";
        return kExitFailed;
    }
    if (result != 0) {
        err << "velora-inspect: cannot read " << path << ": " << describe_param_file_error(result)
            << "\n";
        return kExitFailed;
    }

    size_t parameters = 0;
    out << "file=" << path << "\n";
    out << "generation=" << generation << "\n";
    for (size_t i = 0; i < devices.size(); ++i) {
        const android::PexParamCache& device = *devices.valueAt(i);
        out << "\n[device " << hex(devices.keyAt(i)) << "] " << device.size()
            << (device.size() == 1 ? " parameter" : " parameters") << "\n";
        for (const auto& param : device) {
            std::string code = effect_code_of(param.first);
            code.resize(4, ' ');
            out << "  " << code << " " << hex(param.first) << " n=" << param.second.size() << ":";
            for (int32_t value : param.second) out << " " << value;
            out << "\n";
        }
        parameters += device.size();
    }
    out << "\nsummary: " << devices.size() << (devices.size() == 1 ? " device, " : " devices, ")
        << parameters << (parameters == 1 ? " parameter\n" : " parameters\n");
    android::PexParamStore::releaseStoredParams(&devices);
    return kExitOk;
}

const Subcommand kEffectSubcommand = {
    "effect",
    "[--root DIR]",
    "print the effect parameters the parameter store has published",
    "Reads the parameter store's published file, /data/vendor/velora/pexparams.bin under\n"
    "the filesystem root DIR (default /), as the effect reads it: one whole commit, even\n"
    "while the service is committing. Prints the commit's generation (the number of\n"
    "commits so far), then per device (by its output-device bits; 0x40000000 is the\n"
    "profile-wide set) every parameter by its code and id, with its values:\n"
    "\n"
    "  DVLA 0x616c7664 n=1: 7\n"
    "\n"
    "An id whose bytes do not spell a code shows \"?\". A summary of counts ends the output.\n"
    "\n"
    "Exit status: 0 when the file was read, 1 when nothing is published or the file cannot\n"
    "be read, 2 on a usage error.\n",
    &inspect_effect,
};

}  // namespace velora::inspect
