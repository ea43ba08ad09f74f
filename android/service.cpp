/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "hal/KptServiceProcess.h"

int main() { return velora::KptServiceProcess::run(); }
