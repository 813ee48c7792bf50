#pragma once
// The core library's two exception types: CoreException for a missing string buffer and
// similar low-level faults, and CFTypeRefClass::TypeException for a reference of the
// wrong type.

#include <exception>

class CoreException {
public:
    // Formats with printf rules into one static 2,048-byte buffer that every CoreException
    // shares: a second exception overwrites the first one's text.
    explicit CoreException(char const* format, ...) __attribute__((format(printf, 2, 3)));

    char const* message;
};

namespace CFTypeRefClass {

class TypeException : public std::exception {
public:
    char const* what() const noexcept override { return "CFTypeRefClass::TypeException"; }
};

// Throws TypeException when `ref` is null or is not of dynamic type Expected; otherwise
// returns it as that type.
template <typename Expected, typename Actual>
Expected const* ThrowIfNotTypeMatch(Actual const* ref) {
    Expected const* typed = dynamic_cast<Expected const*>(ref);
    if (typed == nullptr) {
        throw TypeException();
    }
    return typed;
}

}  // namespace CFTypeRefClass
