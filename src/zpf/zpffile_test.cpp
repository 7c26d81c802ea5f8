#include "zpf/zpffile.h"

#include "zpf/sample_for_test.h"
#include "zpf/text.h"

namespace tarnvale::ZPF {
namespace {

TEST(File, TreeKeepsItsOrderNamesAndTexts) {
    const ScratchFolder folder;
    const FILEPATH path = folder / "tree.sim";
    PROJECTWRITER writer;
    int sky = kNoObject, inSky = kNoObject, first = kNoObject, twin = kNoObject, script = kNoObject;
    ASSERT_TRUE(Good(writer.Create(path)));
    ASSERT_TRUE(Good(writer.AddFolder(kRootObject, "Sky", sky)));
    ASSERT_TRUE(
        Good(writer.AddText(kRootObject, "Übersicht mit viel Text", "eins\nzwei ä", first)));
    ASSERT_TRUE(Good(writer.AddText(sky, "note", "", inSky)));
    ASSERT_TRUE(Good(writer.AddText(kRootObject, "Übersicht mit viel mehr Text", "3", twin)));
    ASSERT_TRUE(Good(writer.AddText(kRootObject, "startup", "x", script)));
    EXPECT_EQ(writer.AddFolder(99, "nowhere", first).Code(), StatusCode::BadState);
    ASSERT_TRUE(Good(writer.Commit()));

    FILEHANDLE file;
    ASSERT_TRUE(Good(file.Open(path, OpenMode::Read)));
    std::vector<int> numbers;
    std::int64_t iterator = 0, copy = -1;
    for (int number = 0; file.GetNextInodeNum(iterator, kRootObject, ObjectType::Text, number);) {
        if (numbers.empty()) copy = iterator;
        numbers.push_back(number);
    }
    EXPECT_EQ(numbers, (std::vector<int>{first, twin, script}));
    int again = kNoObject;
    EXPECT_TRUE(
        file.GetNextInodeNum(copy, kRootObject, ObjectType::Text, again));  // goes on from the copy
    EXPECT_EQ(again, twin);

    ZPFObjectItem item;
    ASSERT_TRUE(Good(file.GetItem(first, item)));
    EXPECT_EQ(item.header.name, "Übersicht mit vi");  // sixteen characters, not bytes
    ASSERT_TRUE(Good(file.GetItem(twin, item)));
    EXPECT_EQ(item.header.name, "Übersicht mit _2");
    EXPECT_EQ(file.GetObjectPath(inSky), "/Sky/note");
    EXPECT_EQ(file.FindObject(kRootObject, ObjectType::Folder, "SKY"), sky);
    EXPECT_EQ(file.FindObject(kRootObject, ObjectType::Text, "note"), kNoObject);
    EXPECT_EQ(file.GetObjectCount(sky, ObjectType::Text), 1);
    QNSTRING text;
    ASSERT_TRUE(Good(file.ReadText(first, text)));
    EXPECT_EQ(text, "eins\nzwei ä");
    EXPECT_EQ(file.ReadText(sky, text).Code(), StatusCode::BadState);
    EXPECT_EQ(file.GetItem(1000, item).Code(), StatusCode::BadState);
}

TEST(File, LastUsedChildAndTableUsageAreFound) {
    const ScratchFolder folder;
    const FILEPATH path = folder / "used.sim";
    ASSERT_TRUE(Good(WriteLandscape(path)));
    RunSql(path,
           "INSERT INTO zpf_object VALUES (20, 2, 19, 'a', '', 0), (21, 2, 19, 'b', '', 5), (22, "
           "2, 19, 'c', '', 3),"
           " (30, 0, 6, 'points', '', 0), (31, 0, 6, 'more', '', 0);"
           "INSERT INTO zpf_table (object, position, table_name, usage) VALUES (31, 0, 't', 16), "
           "(30, 0, 'u', 4),"
           " (30, 1, 'v', 16), (7, 0, 'w', 9)");
    FILEHANDLE file;
    ASSERT_TRUE(Good(file.Open(path, OpenMode::Read)));
    EXPECT_EQ(file.GetLastUsed(2, ObjectType::ColorMap), 21);
    EXPECT_EQ(file.GetLastUsed(1, ObjectType::ColorMap), kNoObject);
    EXPECT_EQ(file.FindDatabaseByTableUsage(16), 30);
    EXPECT_EQ(file.FindDatabaseByTableUsage(9), kNoObject);  // object 7 is no database
}

TEST(File, WhatIsNoProjectFileIsToldApart) {
    const ScratchFolder folder;
    const FILEPATH good = folder / "good.sim";
    ASSERT_TRUE(Good(WriteLandscape(good)));
    const std::vector<char> bytes = ReadFile(good);
    WriteFile(folder / "page.sim", std::span(bytes).first(8192));
    const FILEPATH database = folder / "plain.sqlite";
    RunSql(database, "CREATE TABLE t (a)");
    const std::pair<FILEPATH, StatusCode> cases[] = {
        {folder / ".", StatusCode::NotALandscape},
        {database, StatusCode::NotALandscape},
        {folder / "page.sim", StatusCode::FileDamaged},
    };
    for (const auto& [path, code] : cases) {
        FILEHANDLE file;
        EXPECT_EQ(file.Open(path, OpenMode::Read).Code(), code) << path;
        EXPECT_NE(GetErrPosn().detail.find(path.filename().string()), std::string::npos)
            << GetErrPosn().detail;
        EXPECT_FALSE(file.IsOpen());
    }
}

TEST(File, AnInterruptedSaveByAnotherProgramIsTold) {
    const ScratchFolder folder;
    const FILEPATH path = folder / "a.sim";
    ASSERT_TRUE(Good(WriteLandscape(path)));
    // A writer that dies in its transaction leaves a journal that has to be played back.
    EXPECT_EXIT(
        {
            sqlite3* connection = nullptr;
            sqlite3_open(path.c_str(), &connection);
            sqlite3_exec(connection,
                         "PRAGMA cache_size=1; BEGIN; UPDATE zpf_object SET name = 'x';"
                         "CREATE TABLE filler AS SELECT zeroblob(300000) AS b",
                         nullptr, nullptr, nullptr);
            raise(SIGKILL);
        },
        testing::KilledBySignal(SIGKILL), "");
    ASSERT_EQ(folder.Names(), (std::vector<std::string>{"a.sim", "a.sim-journal"}));
    FILEHANDLE file;
    EXPECT_EQ(file.Open(path, OpenMode::Read).Code(), StatusCode::ReadFailed);
    EXPECT_NE(GetErrPosn().detail.find("interrupted"), std::string::npos) << GetErrPosn().detail;
    // The other program opens it again, and all is as before.
    RunSql(path, "SELECT * FROM zpf_object");
    ASSERT_TRUE(Good(file.Open(path, OpenMode::Read)));
    EXPECT_EQ(file.FindObject(kRootObject, ObjectType::Text, "about"), 4);
}

TEST(File, BrokenTextBecomesSoundText) {
    EXPECT_EQ(ValidUtf8("a\xC3\xA4\xFFz\xC3"), "a\xC3\xA4\xEF\xBF\xBDz\xEF\xBF\xBD");
    EXPECT_EQ(OneLine("a\nb\x7F"
                      "c\xED\xA0\x80",
                      16),
              "a b c\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(OneLine("äöü", 2), "äö");
    for (const char* name : {"", "1st", "a b", "x\"; DROP", "sqlite_x", "GPKG_contents", "zpf_tile",
                             "rtree_a_b", "ä"}) {
        EXPECT_FALSE(IsTileTableName(name)) << name;
    }
    EXPECT_TRUE(IsTileTableName("Land_cover2"));
}

}  // namespace
}  // namespace tarnvale::ZPF
