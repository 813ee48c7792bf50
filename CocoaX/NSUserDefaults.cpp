#include "CocoaX/NSUserDefaults.h"

#include "CoreX/CoreMachDebugLog.h"
#include "platform/defaults/UserDefaults.h"

namespace {

std::optional<double> Stored(char const* key, double const*) {
    return UserDefaults::standard().numberForKey(key);
}

std::optional<QString> Stored(char const* key, QString const*) {
    std::optional<std::string> const text = UserDefaults::standard().stringForKey(key);
    if (!text) {
        return std::nullopt;
    }
    return QString::fromStdString(*text);
}

}  // namespace

template <typename T>
T NSUserDefaultLoadKind(char const* inValueName, T const& fallback) {
    VERIFY(inValueName);
    if (inValueName == nullptr) {
        return fallback;
    }
    // A value of the other kind (a string where a number is wanted) reads as absent.
    std::optional<T> stored = Stored(inValueName, static_cast<T const*>(nullptr));
    return stored ? *stored : fallback;
}

template double NSUserDefaultLoadKind<double>(char const*, double const&);
template QString NSUserDefaultLoadKind<QString>(char const*, QString const&);

void NSUserDefaultSave(int32_t value, char const* inValueName) {
    VERIFY(inValueName);
    if (inValueName != nullptr) {
        UserDefaults::standard().setNumber(inValueName, value);
    }
}

void NSUserDefaultSaveString(QString const& inObject, char const* inValueName) {
    VERIFY(inValueName);
    VERIFY(!inObject.isNull());
    if (inValueName != nullptr && !inObject.isNull()) {
        UserDefaults::standard().setString(inValueName, inObject.toStdString());
    }
}
