/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include "model/Endpoint.h"
#include "model/Parameter.h"

namespace velora {

class ParameterValues;

// Listener of a merged parameter view (the device's translator). It is told where to read
// values and how to translate them, then of each parameter whose value changed.
//
// Threading: called synchronously on the thread that changes the view.
class ParamChangeObserver {
  public:
    virtual ~ParamChangeObserver() = default;

    // The view to read values from, and the endpoint and mono flag the translation must use.
    virtual void setSource(ParameterValues* source, Endpoint endpoint, bool mono) = 0;

    // One parameter of the source view has a new value, already stored in the view.
    virtual void onParameterChanged(Parameter parameter) = 0;
};

}  // namespace velora
