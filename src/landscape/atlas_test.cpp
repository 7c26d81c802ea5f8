#include "landscape/atlas.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <tuple>

#include "zpf/sample_for_test.h"

namespace tarnvale {
namespace {

using ZPF::Good;

constexpr const char* kRequired = "[Sedgelineatlas]\nTitle=Tarn\nFile=land.sim\nObject=/Land\n";

class AtlasTest : public testing::Test {
protected:
    AtlasTest() { EXPECT_TRUE(Good(ZPF::WriteLandscape(folder / "land.sim"))); }

    void Put(const std::string& text) const { ZPF::WriteFile(path, text); }
    [[nodiscard]] std::string Text() const {
        const std::vector<char> bytes = ZPF::ReadFile(path);
        return {bytes.begin(), bytes.end()};
    }
    Atlas Read(const std::string& more) const {
        Put(kRequired + more);
        Atlas atlas;
        EXPECT_TRUE(Good(atlas.Read(path)));
        return atlas;
    }

    ZPF::ScratchFolder folder;
    FILEPATH path = folder / "tarn.atl";
};

/// What an atlas says in other words than its file; nothing of what it leaves out.
std::string Told(const Atlas& atlas) {
    std::string told;
    const auto add = [&told](bool said, const std::string& what) {
        if (said) told += (told.empty() ? "" : ", ") + what;
    };
    const COLOR& back = atlas.backgroundColor;
    const AtlasView& view = atlas.views.front();
    add(back != Atlas::kDefaultBackground,
        fmt::format("{} {} {}", back.red, back.green, back.blue));
    add(atlas.hasStartCentre, fmt::format("at {} {}", atlas.startLatitude, atlas.startLongitude));
    add(atlas.hasZoomWidth, fmt::format("width {}", atlas.startZoomWidth));
    add(atlas.startZoom1X, "1X");
    add(atlas.disableOpen, "no open");
    add(!atlas.allowCustomize, "no customizing");
    add(!atlas.customizeFile.empty(), atlas.customizeFile.filename().string());
    add(atlas.views.size() != 1, fmt::format("{} views", atlas.views.size()));
    add(view.legend == AtlasLegend::Shown, "legend");
    add(view.legend == AtlasLegend::Hidden, "no legend");
    const AtlasView usual;
    add(view.geoLockMode != usual.geoLockMode || view.geoLockScale != usual.geoLockScale,
        fmt::format("lock {} {}", view.geoLockMode, view.geoLockScale));
    add(!view.object.empty(), view.object);
    return told;
}

TEST_F(AtlasTest, EveryKeyHasItsMeaningAndItsDefault) {
    ZPF::WriteFile(folder / "own.txt", {});
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"BackgroundColor=65535,0,257,0\n", "65535 0 257"},
        {"BackgroundColor=red\n", ""},
        {"StartCenterLat=46.5\nStartCenterLon=-9.25\n", "at 46.5 -9.25"},
        {"StartCenterLat=46.5\n", ""},
        {"StartCenterLat=46,5\nStartCenterLon=9\n", ""},
        {"StartCenterLat=91\nStartCenterLon=9\n", ""},
        {"StartCenterLat=nan\nStartCenterLon=9\n", ""},
        {"StartZoomWidth=1500.5\nStartZoom1X=true\n", "width 1500.5"},
        {"StartZoom1X=true\n", "1X"},
        {"StartZoomWidth=-3\nStartZoom1X=1\n", "1X"},
        {"DisableOpen=true\nAllowCustomize=false\n", "no open, no customizing"},
        {"CustomizeFile=own.txt\n", "own.txt"},
        {"CustomizeFile=absent.txt\n", ""},
        {"CustomizeFile=../own.txt\n", ""},
        {"NumViews=6\n", "4 views"},
        {"NumViews=0\n", ""},
        {"NumViews=many\n", ""},
        {"[View1]\nShowLegend=true\nGeoLockMode=1\nGeoLockScale=2.5\nObject=/Height\n",
         "legend, lock 1 2.5, /Height"},
        {"[View1]\nGeoLockScale=-4\n", "lock 3 -4"},
        {"[View1]\nShowLegend=false\n", "no legend"},
        {"[view1]\nSHOWLEGEND = false\n", "no legend"},
        {"[View2]\nShowLegend=false\n", ""},
    };
    for (const auto& [text, told] : cases) EXPECT_EQ(Told(Read(text)), told) << text;
}

TEST_F(AtlasTest, AnInvalidPositionGivesAllViewsTheDefaultLayout) {
    const std::tuple<const char*, bool> cases[] = {
        {"0,2,3,0,1,1", true},    {" 0, 2 ,3,0,1,1", true},
        {"1,2,3,0,1,1", true},    {"2,2,3,0,1,1", false},
        {"-1,1,3,0,1,1", false},  {"0,0,3,0,1,1", false},
        {"0,1,0,0,1,1", false},   {"0,1,1,2147483647,2147483647,2147483647", false},
        {"0,1,1,0,1", false},     {"0,1,1,0,1,1,1", false},
        {"0,1,1,0,one,1", false}, {"", false},
    };
    for (const auto& [position, valid] : cases) {
        const Atlas atlas = Read(std::string("NumViews=2\n[View1]\nPosition=") + position +
                                 "\n[View2]\nPosition=2,1,3,0,1,1\n");
        EXPECT_EQ(atlas.views[1].position == (AtlasPosition{2, 1, 3, 0, 1, 1}), valid) << position;
        if (valid) continue;
        EXPECT_EQ(atlas.views[0].position, (AtlasPosition{0, 1, 2, 0, 1, 1})) << position;
        EXPECT_EQ(atlas.views[1].position, (AtlasPosition{1, 1, 2, 0, 1, 1})) << position;
    }
    EXPECT_EQ(Read("NumViews=3\n").views[2].position, (AtlasPosition{2, 1, 3, 0, 1, 1}));
    const Atlas four = Read("NumViews=4\n");
    EXPECT_EQ(four.views[1].position, (AtlasPosition{1, 1, 2, 0, 1, 2}));
    EXPECT_EQ(four.views[2].position, (AtlasPosition{0, 1, 2, 1, 1, 2}));
    EXPECT_EQ(four.views[3].position, (AtlasPosition{1, 1, 2, 1, 1, 2}));
}

TEST_F(AtlasTest, WhatIsMissingIsSaid) {
    const std::tuple<const char*, std::string, StatusCode> cases[] = {
        {"no title", "[Sedgelineatlas]\nFile=land.sim\nObject=/Land\n",
         StatusCode::AtlasIncomplete},
        {"empty title", "[Sedgelineatlas]\nTitle=\nFile=land.sim\nObject=/Land\n",
         StatusCode::AtlasIncomplete},
        {"no file", "[Sedgelineatlas]\nTitle=T\nObject=/Land\n", StatusCode::AtlasIncomplete},
        {"no object", "[Sedgelineatlas]\nTitle=T\nFile=land.sim\n", StatusCode::AtlasIncomplete},
        {"another section", "[Other]\nTitle=T\nFile=land.sim\nObject=/Land\n",
         StatusCode::AtlasIncomplete},
        {"no section", "Title=T\nFile=land.sim\nObject=/Land\n", StatusCode::AtlasIncomplete},
        {"empty", "", StatusCode::AtlasIncomplete},
        {"binary",
         std::string("\x7F"
                     "ELF\0\1\2\3\n[=\n[]\n=\xFF\xFE\n",
                     20),
         StatusCode::AtlasIncomplete},
        {"huge", std::string(2'000'000, 'x'), StatusCode::ReadFailed},
        {"zero byte in a path",
         std::string("[Sedgelineatlas]\nTitle=T\nFile=land.sim\0x\nObject=/Land\n", 51),
         StatusCode::AtlasIncomplete},
        {"no such object", "[Sedgelineatlas]\nTitle=T\nFile=land.sim\nObject=/Lend\n",
         StatusCode::ObjectNotFound},
        {"no such folder", "[Sedgelineatlas]\nTitle=T\nFile=land.sim\nObject=/Maps/Land\n",
         StatusCode::ObjectNotFound},
        {"no such project file", "[Sedgelineatlas]\nTitle=T\nFile=sea.sim\nObject=/Land\n",
         StatusCode::FileNotFound},
        {"no project file", "[Sedgelineatlas]\nTitle=T\nFile=tarn.atl\nObject=/Land\n",
         StatusCode::NotALandscape},
    };
    for (const auto& [what, text, code] : cases) {
        Put(text);
        Atlas atlas;
        atlas.title = "before";
        EXPECT_EQ(atlas.Read(path).Code(), code) << what;
        EXPECT_EQ(atlas.title, "before") << what;
        EXPECT_NE(GetErrPosn().detail, "") << what;
    }
    Atlas atlas;
    EXPECT_EQ(atlas.Read(folder / "absent.atl").Code(), StatusCode::AtlasIncomplete);
}

TEST_F(AtlasTest, TheFileIsFoundRelativeToTheAtlasOrBesideIt) {
    std::filesystem::create_directories(folder / "maps");
    std::filesystem::copy_file(folder / "land.sim", folder / "maps/land.sim");
    const std::tuple<std::string, FILEPATH> cases[] = {
        {"land.sim", folder / "land.sim"},
        {"maps/land.sim", folder / "maps/land.sim"},
        {(folder / "maps/land.sim").string(), folder / "maps/land.sim"},
        {"gone/land.sim", folder / "land.sim"},
        {"X:\\maps\\land.sim", folder / "land.sim"},
        {"..\\land.sim", folder / "land.sim"},
        {"\"land.sim\"", folder / "land.sim"},
    };
    for (const auto& [link, file] : cases) {
        Put("[Sedgelineatlas]\nTitle=T\nObject=land\nFile=" + link + "\n");
        Atlas atlas;
        ASSERT_TRUE(Good(atlas.Read(path))) << link;
        EXPECT_EQ(atlas.file, file) << link;
    }
}

TEST_F(AtlasTest, APlaceIsWrittenAndEverythingElseKeepsItsBytes) {
    const std::string before =
        "\xEF\xBB\xBF; my atlas\r\n"
        "Stray=1\r\n"
        "\r\n"
        "[Sedgelineatlas]\r\n"
        "  Title =  \xC3\x9C"
        "ber den Seen  \r\n"
        "File=gone\\land.sim\r\n"
        "# the place\r\n"
        "StartCenterLat=1\r\n"
        "Unknown key = x = y\r\n"
        "Object=\"/Land\"\r\n"
        "AllowCustomize=1\r\n"
        "\r\n"
        "[Another]\r\n"
        "StartCenterLat=7\r\n"
        "[View1]\r\n"
        "Position=0,1,1, 0,1,1\r\n"
        "no key at all";
    Put(before);
    Atlas atlas;
    ASSERT_TRUE(Good(atlas.Read(path)));
    atlas.hasStartCentre = atlas.hasZoomWidth = true;
    atlas.startLatitude = 46.12345678901234;
    atlas.startLongitude = -9.1;
    atlas.startZoomWidth = 1234.5;
    ASSERT_TRUE(Good(atlas.Write(path)));
    std::string after = before;
    after.replace(after.find("StartCenterLat=1"), 16, "StartCenterLat=46.12345678901234");
    after.insert(after.find("\r\n[Another]"),
                 "StartCenterLon=-9.1\r\nStartZoomWidth=1234.5\r\nStartZoom1X=false\r\n");
    EXPECT_EQ(Text(), after);

    // The same again changes nothing; taken back, the keys go.
    ASSERT_TRUE(Good(atlas.Write(path)));
    EXPECT_EQ(Text(), after);
    atlas.hasStartCentre = atlas.hasZoomWidth = false;
    atlas.startZoom1X = true;
    ASSERT_TRUE(Good(atlas.Write(path)));
    EXPECT_EQ(Text().find("StartCenterLon"), std::string::npos);
    EXPECT_EQ(Text().find("StartCenterLat=46"), std::string::npos);
    EXPECT_EQ(Text().find("StartZoomWidth"), std::string::npos);
    EXPECT_NE(Text().find("StartZoom1X=true\r\n"), std::string::npos);
    EXPECT_NE(Text().find("[Another]\r\nStartCenterLat=7\r\n"), std::string::npos);
}

TEST_F(AtlasTest, ANewAtlasComesBackAsItWasWritten) {
    path = folder / (std::string(251, 'n') + ".atl").c_str();  // no name can be longer
    Atlas atlas;
    atlas.title = " \"Quoted\" ";
    atlas.file = folder / "land.sim";
    atlas.object = "/Land";
    atlas.backgroundColor = {1, 2, 3, 0};
    atlas.disableOpen = true;
    atlas.allowCustomize = false;
    atlas.views.resize(3);
    atlas.views[1] = {AtlasLegend::Hidden, 0, 0.5, {1, 2, 3, 0, 1, 1}, "/Height"};
    atlas.views[2].position = {0, 1, 1, 0, 1, 2};
    ASSERT_TRUE(Good(atlas.Write(path)));
    EXPECT_NE(Text().find("File=land.sim\n"), std::string::npos) << "relative: " << Text();
    Atlas read;
    ASSERT_TRUE(Good(read.Read(path)));
    EXPECT_EQ(read.title, atlas.title);
    EXPECT_EQ(read.file, atlas.file);
    EXPECT_EQ(read.backgroundColor, atlas.backgroundColor);
    EXPECT_TRUE(read.disableOpen);
    EXPECT_FALSE(read.allowCustomize);
    EXPECT_EQ(read.views, atlas.views);
}

TEST_F(AtlasTest, APortablePathHasNoDriveOfThisMachine) {
    for (const auto& [link, wanted] :
         {std::pair("D:\\maps\\land.sim", "X:\\maps\\land.sim"),
          std::pair("d:/maps/land.sim", "X:/maps/land.sim"),
          std::pair("maps/land.sim", "maps/land.sim"), std::pair("D:land.sim", "D:land.sim")}) {
        Put(std::string("[Sedgelineatlas]\nTitle=T\nObject=/Land\nFile=") + link + "\n");
        Atlas atlas;
        ASSERT_TRUE(Good(atlas.ReadText(path))) << link;
        ASSERT_TRUE(Good(atlas.Write(path)));
        EXPECT_NE(Text().find(std::string("File=") + link + "\n"), std::string::npos) << link;
        ASSERT_TRUE(Good(atlas.Write(path, AtlasPaths::Portable)));
        EXPECT_NE(Text().find(std::string("File=") + wanted + "\n"), std::string::npos) << Text();
    }
}

TEST_F(AtlasTest, AFailedWriteLeavesTheOldFileAndNothingElse) {
    Atlas atlas = Read("; " + std::string(9000, 'x') + "\n");
    const std::string before = Text();
    const auto names = folder.Names();
    atlas.hasStartCentre = true;
    // As a full disk would, the system refuses what goes beyond some bytes.
    rlimit old{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{4096, old.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const Status written = atlas.Write(path);
    ::setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(written.Code(), StatusCode::WriteFailed);
    EXPECT_EQ(Text(), before);
    EXPECT_EQ(folder.Names(), names);
    EXPECT_TRUE(Good(atlas.Write(path)));
}

TEST_F(AtlasTest, PermissionsStayAndALinkStaysALink) {
    Atlas atlas = Read("");
    ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
    std::filesystem::create_directories(folder / "other");
    const FILEPATH link = folder / "other/link.atl";
    std::filesystem::create_symlink("../tarn.atl", link);
    // What the text says of the file is meant from the link's folder.
    Atlas linked;
    ASSERT_TRUE(Good(linked.ReadText(link)));
    linked.hasStartCentre = true;
    linked.startLatitude = 3;
    ASSERT_TRUE(Good(linked.Write(link)));
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_NE(Text().find("StartCenterLat=3\n"), std::string::npos);
    struct stat info {};
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0640U);
    ASSERT_TRUE(Good(atlas.Read(path)));
}

TEST_F(AtlasTest, ALayerThatAGisHasAddedIsAnObject) {
    ZPF::RunSql(
        folder / "land.sim",
        "INSERT INTO gpkg_contents (table_name, data_type) VALUES ('main roads', 'features'), "
        "('pictures', 'tiles')");
    ZPF::FILEHANDLE file;
    ASSERT_TRUE(Good(file.Open(folder / "land.sim", ZPF::OpenMode::Read)));
    ZPFObjectItem item;
    for (const char* name : {"/Main Roads", "main roads"}) {
        ASSERT_TRUE(Good(FindObjectByPath(file, name, item))) << name;
        EXPECT_EQ(item.header.type, ObjectType::Vector);
        EXPECT_EQ(item.objectPath, "/main roads");
    }
    for (const char* name : {"/pictures", "/Land/main roads", "/"})
        EXPECT_EQ(FindObjectByPath(file, name, item).Code(), StatusCode::ObjectNotFound) << name;
}

TEST_F(AtlasTest, AtlasesOfAFolderAreListedByName) {
    Put(kRequired);
    ZPF::WriteFile(folder / "B.ATL", {});
    ZPF::WriteFile(folder / "notes.atl.txt", {});
    std::filesystem::create_directories(folder / "folder.atl");
    const auto list = ListAtlases(path.parent_path());
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list.front().filename(), "B.ATL");
    EXPECT_EQ(AtlasName(list.front()), "B");
    EXPECT_EQ(AtlasName(list.back()), "Tarn");
    EXPECT_TRUE(ListAtlases(folder / "absent").empty());
}

}  // namespace
}  // namespace tarnvale
