#pragma once
// The product's name and version as the application shows them.

inline constexpr char kDSCProductName[] = "Duoscope";
inline constexpr char kDSCProductVersion[] = "1.201";
