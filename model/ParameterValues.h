/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <bitset>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "model/Parameter.h"
#include "model/ValueTable.h"

namespace velora {

// Base of the settings records: a database id (-1 while the record has no row), a dirty flag
// (the record differs from what is stored) and the record's parameter values, ordered by
// Parameter value. The subclass says which parameters it may hold (getValidParams()).
//
// Threading: none of its own; a record is used by one thread at a time.
class ParameterValues {
  public:
    using Values = ValueTable;

    virtual int64_t getId() const = 0;
    virtual bool isDirty() const;
    virtual void setDirty(bool dirty);
    virtual ~ParameterValues();
    virtual const std::set<Parameter>& getValidParams() const = 0;

    // Stores a copy of value and marks the record dirty, even when the value is unchanged and
    // whether or not the parameter belongs to this kind of record. The parameter's stored
    // text, if it had one, is forgotten: the value is now the caller's.
    void set(Parameter parameter, std::vector<int> value);

    // Stores a value read from the database together with the exact text it was read from,
    // and marks the record dirty. Until the parameter is set again, saving the record writes
    // that text back instead of the value's own text: reading a list adds an element, and
    // writing what was read would make every restart change the database.
    void setStored(Parameter parameter, std::vector<int> value, std::string storedText);
    // The same for a value read from the text this record writes for it without its last
    // element (the element reading adds), as every list the service wrote is: only a mark
    // is kept, and the text is written out again when asked for.
    void setStoredAsWritten(Parameter parameter, std::vector<int> value);
    // Puts into text the text the parameter's value was read from; false once the value was
    // set otherwise.
    bool getStoredText(Parameter parameter, std::string* text) const;

    // Stores value only if the parameter is valid for this record and the value differs from
    // the stored one (length, then each element); returns whether it stored. A valid but
    // absent parameter is entered with an empty vector first, and stays entered.
    bool checkAndUpdate(Parameter parameter, const std::vector<int>& value);

    // Same parameters with the same vectors. Ids, dirty flags and the fields of the
    // subclasses are not compared.
    bool equals(const ParameterValues& other) const;

    // One "column_name=v1,v2,...," line per value in Parameter order; ieq_id is left out.
    std::string valuesToString() const;

    Values& getValues() { return mValues; }
    const Values& getValues() const { return mValues; }

    // The stored vector, entering an empty one when the parameter is absent. Does not touch
    // the dirty flag.
    std::vector<int>& lookup(Parameter parameter) { return mValues[parameter]; }
    bool has(Parameter parameter) const { return mValues.count(parameter) != 0; }

    void setId(int64_t id) { mId = id; }

  protected:
    ParameterValues(int64_t id, bool dirty) : mId(id), mDirty(dirty) {}
    ParameterValues(const ParameterValues&) = default;
    ParameterValues& operator=(const ParameterValues&) = default;

    int64_t mId;
    bool mDirty;
    Values mValues;
    std::map<Parameter, std::string> mStoredTexts;
    std::bitset<kParameterCount> mStoredAsWritten;

  private:
    void forgetStoredText(Parameter parameter);
};

}  // namespace velora
