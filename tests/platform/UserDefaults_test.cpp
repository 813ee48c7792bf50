// The defaults store keeps numbers and strings apart, falls back on missing or damaged
// files, and always leaves a whole, valid file behind.

#include "platform/defaults/UserDefaults.h"

#include <filesystem>

#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include "tests/support/TestEnvironment.h"

namespace {

class UserDefaultsTest : public ::testing::Test {
protected:
    std::string Folder() const { return TestEnvironment::Home() + "/.config/Duoscope"; }
    std::string File() const { return Folder() + "/defaults.json"; }
    void SetUp() override { std::filesystem::remove_all(Folder()); }

    QJsonObject StoredObject() const {
        QJsonDocument const document =
            QJsonDocument::fromJson(QByteArray::fromStdString(TestEnvironment::ReadFile(File())));
        EXPECT_TRUE(document.isObject()) << TestEnvironment::ReadFile(File());
        return document.object();
    }
};

TEST_F(UserDefaultsTest, KindsAreKeptApartAndSurviveAReload) {
    UserDefaults defaults(File());
    EXPECT_FALSE(defaults.numberForKey("_rebroadcastButton").has_value()) << "no file yet";
    ASSERT_TRUE(defaults.setNumber("_rebroadcastButton", 1));
    ASSERT_TRUE(defaults.setString("_exposureSlider", "0.0"));
    EXPECT_FALSE(defaults.stringForKey("_rebroadcastButton").has_value());
    EXPECT_FALSE(defaults.numberForKey("_exposureSlider").has_value())
        << "a string that looks like a number is still a string";

    UserDefaults reread(File());
    EXPECT_EQ(reread.numberForKey("_rebroadcastButton"), 1.0);
    EXPECT_EQ(reread.stringForKey("_exposureSlider"), "0.0");
    QJsonObject const stored = StoredObject();
    EXPECT_TRUE(stored.value("_rebroadcastButton").isDouble());
    EXPECT_TRUE(stored.value("_exposureSlider").isString());
}

TEST_F(UserDefaultsTest, DamagedOrWrongShapedFilesGiveFallbacksAndAreKeptAsideOnTheNextSave) {
    std::filesystem::create_directories(Folder());
    for (std::string const damaged : {"", "[1, 2]", "{\"_allowCameraButton\": 0, \"_rebroad"}) {
        ASSERT_TRUE(TestEnvironment::WriteFile(File(), damaged));
        UserDefaults defaults(File());
        EXPECT_FALSE(defaults.hasKey("_allowCameraButton")) << damaged;
        EXPECT_EQ(TestEnvironment::ReadFile(File()), damaged) << "reading never changes the file";
        ASSERT_TRUE(defaults.setNumber("_mirrorImageX", 1));
        EXPECT_EQ(TestEnvironment::ReadFile(File() + ".damaged"), damaged);
        QJsonObject const stored = StoredObject();
        EXPECT_EQ(stored.size(), 1);
        EXPECT_EQ(stored.value("_mirrorImageX").toDouble(), 1.0);
    }
    ASSERT_TRUE(TestEnvironment::WriteFile(File(), R"({"flag": true, "n": 2, "list": [1]})"));
    UserDefaults mixed(File());
    EXPECT_FALSE(mixed.hasKey("flag")) << "booleans are neither kind";
    EXPECT_FALSE(mixed.hasKey("list"));
    EXPECT_EQ(mixed.numberForKey("n"), 2.0);
}

TEST_F(UserDefaultsTest, UnwritableFolderKeepsValuesForThisRun) {
    std::filesystem::create_directories(TestEnvironment::Home() + "/.config");
    ASSERT_TRUE(TestEnvironment::WriteFile(Folder(), "a file where the folder should be"));
    UserDefaults defaults(File());
    EXPECT_FALSE(defaults.setNumber("k", 3));
    EXPECT_EQ(defaults.numberForKey("k"), 3.0);
    std::filesystem::remove(Folder());
}

// (Nested batches that write once are checked by the document's one write at its close.)
TEST_F(UserDefaultsTest, TheStandardFileAndAnUnchangedValueWritesNothing) {
    EXPECT_EQ(UserDefaults::standard().filePath(), File());
    UserDefaults defaults(File());
    ASSERT_TRUE(defaults.setNumber("monitorImageType", 3));
    EXPECT_EQ(defaults.saveCount(), 1);
    ASSERT_TRUE(defaults.setNumber("monitorImageType", 3));
    EXPECT_EQ(defaults.saveCount(), 1) << "the same value again writes nothing";
}

}  // namespace
