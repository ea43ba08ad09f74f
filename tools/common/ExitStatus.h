/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

namespace velora {

// The exit statuses of every host tool, so that scripts can tell a typo from a refusal and
// from a daemon that is not running.
enum ExitStatus : int {
    EXIT_OK = 0,
    EXIT_REFUSED = 1,      // refused or failed, or (lint) findings
    EXIT_USAGE = 2,        // bad command line: nothing was done
    EXIT_UNREACHABLE = 3,  // no daemon answered on the socket in time
    EXIT_NOT_SAVED = 4,    // the change was applied but the service could not save it
};

}  // namespace velora
