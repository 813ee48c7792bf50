#pragma once
// Typed access to the user's defaults store under 8-bit NUL-terminated keys, for the
// controllers that keep their settings there.

#include <cstdint>

#include <QString>

// The value stored under `inValueName` when it is of kind T (double: a number, QString: a
// string); otherwise `fallback`. A null key is logged and gives the fallback.
template <typename T>
T NSUserDefaultLoadKind(char const* inValueName, T const& fallback);

extern template double NSUserDefaultLoadKind<double>(char const*, double const&);
extern template QString NSUserDefaultLoadKind<QString>(char const*, QString const&);

// Stores `value` as a number under `inValueName`; a null key is logged and stores nothing.
void NSUserDefaultSave(int32_t value, char const* inValueName);
// Stores a string; a null key or a null string (nothing to save) is logged and stores
// nothing.
void NSUserDefaultSaveString(QString const& inObject, char const* inValueName);
