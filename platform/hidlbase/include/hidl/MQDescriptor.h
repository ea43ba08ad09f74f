/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

// Generated interface headers include this for fast message queues. The service's interfaces
// pass no queues, so the host declares none; the base types are all they need from here.
#include <hidl/HidlSupport.h>
