/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>
#include <vector>

namespace velora {

// The handle through which batches reach the PEX effect. The effect reads its parameters from
// the process-shared parameter store, so the handle itself keeps no state: send() validates a
// packed batch and writes it to the store as one commit; everything else is a no-op kept for
// the callers that expect an effect handle (version query, enable, control check).
//
// The operations are virtual so that a session may observe or replace delivery; the handle
// is used from the thread that delivers state changes.
class PexEffect {
  public:
    PexEffect(int sessionId, const std::string& clientName);
    virtual ~PexEffect();
    PexEffect(const PexEffect&) = delete;
    PexEffect& operator=(const PexEffect&) = delete;

    // Hands the bytes of data to the store and returns -EINVAL whatever the store did: the
    // effect does not report delivery, and callers do not act on the result.
    virtual int send(int command, std::vector<int>& data);
    // Answers nothing: returns 0 and leaves out as it was.
    virtual int receive(int command, std::vector<int>& out);
    virtual bool hasControl();
    virtual void setEnabled(bool enabled);

    // Validates a packed batch and writes it to the store: one setParam per record, then one
    // commitChange, so that the effect sees the batch as a single change. An invalid batch is
    // logged and nothing is written.
    void sendSharedStore(void* data, unsigned int size);
};

}  // namespace velora
