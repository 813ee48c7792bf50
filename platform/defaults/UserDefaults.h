#pragma once
// The user's defaults store: one JSON object in $XDG_CONFIG_HOME/Duoscope/defaults.json,
// key to number or string, the two kinds kept apart. Every change is written at once and
// atomically (write, fsync, rename), so a crash never loses or half-writes the file; changes
// made inside a Batch are written together, once, when the outermost batch ends.
// Main thread only.

#include <map>
#include <optional>
#include <string>
#include <variant>

class UserDefaults {
public:
    using Value = std::variant<double, std::string>;

    // The store of the current user, loaded at first use.
    static UserDefaults& standard();

    explicit UserDefaults(std::string filePath);

    // The stored value of that kind, or nothing when the key is missing or holds the other
    // kind.
    std::optional<double> numberForKey(std::string const& key) const;
    std::optional<std::string> stringForKey(std::string const& key) const;
    bool hasKey(std::string const& key) const { return mValues.count(key) != 0; }

    // Groups the changes made while it lives into one write of the file.
    class Batch {
    public:
        explicit Batch(UserDefaults& defaults) : mDefaults(defaults) { ++mDefaults.mBatchDepth; }
        ~Batch();
        Batch(Batch const&) = delete;
        Batch& operator=(Batch const&) = delete;

    private:
        UserDefaults& mDefaults;
    };

    // Store and write the file (at the end of the batch, inside one); false (and logged) when
    // the file could not be written, in which case the value is still kept in memory for this
    // run. Storing what the key already holds writes nothing.
    bool setNumber(std::string const& key, double value);
    bool setString(std::string const& key, std::string const& value);
    bool removeKey(std::string const& key);

    // Reads the file again. A missing file is an empty store; an empty or damaged file is
    // logged and gives an empty store, and is kept aside as "<file>.damaged" at the next
    // write so nothing the user had is lost.
    void reload();
    bool save();

    std::string const& filePath() const { return mFilePath; }
    // How many times the file has been written since this store was made.
    int saveCount() const { return mSaveCount; }

private:
    std::string mFilePath;
    std::map<std::string, Value> mValues;
    bool changed(std::string const& key, Value value);

    bool mFileDamaged = false;
    int mBatchDepth = 0;
    bool mBatchDirty = false;
    int mSaveCount = 0;
};
