#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "yox/base/String.h"
#include "yox/platform/apps/linux/InstalledPackages.h"
#include "yox/platform/apps/linux/LinuxApplications.h"
#include "yox/platform/registry/linux/Database.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Rows.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using namespace yox::literals;
using namespace yox::platform;
using YOX::String;

constexpr char kStatus[] = R"(Package: contoso-editor
Status: install ok installed
Maintainer: Contoso Ltd <packages@contoso.example>
Architecture: amd64
Version: 2:7.1.0-3+deb12u1
Description: edits
 Package: not-a-field
 .

Package: contoso-gone
Status: deinstall ok config-files
Architecture: amd64
Version: 1.0

Package: contoso-held
Status: hold ok installed
Architecture: all
Version: 4.2~rc1

Package: contoso-editor
Status: install ok installed
Architecture: i386
Version: 7.0.0-1
)";

// The header of a package as the database has it, of texts by their tags.
std::string RpmHeader(const std::vector<std::pair<std::uint32_t, std::string>>& texts) {
  std::string entries, data;
  const auto add = [](std::string& bytes, std::size_t number) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift);
  };
  for (const auto& [tag, text] : texts) {
    add(entries, tag);
    add(entries, 6);
    add(entries, data.size());
    add(entries, 1);
    data += text + '\0';
  }
  std::string header;
  add(header, texts.size());
  add(header, data.size());
  return header + entries + data;
}

class LinuxApplicationsTest : public testing::Test {
 protected:
  void File(const std::string& path, std::string_view content) {
    fs::create_directories((root_.path() / path).parent_path());
    std::ofstream(root_.path() / path, std::ios::binary) << content;
  }
  void Link(const std::string& path, const std::string& target) {
    fs::create_directories((root_.path() / path).parent_path());
    fs::create_directory_symlink(target, root_.path() / path);
  }
  void RpmDatabase(const std::string& path, const std::vector<std::string>& headers) {
    File(path, "");
    Database database(root_.path() / path);
    database.Run("CREATE TABLE Packages (hnum INTEGER PRIMARY KEY AUTOINCREMENT, blob BLOB)");
    Statement insert = database.Prepare("INSERT INTO Packages (blob) VALUES (?)");
    for (const std::string& header : headers) insert.Bind(1, header).Run();
  }
  // "key=name version;" for each.
  std::string Installed(ApplicationSource source = ApplicationSource::kMachine) {
    std::string text;
    for (const auto& [key, application] : applications_.Installed(source)) {
      text += String::UTF16ToUTF8(key + "="_w + application.name + " "_w + application.version);
      text += ";";
    }
    return text;
  }
  std::string Store() {
    std::string text;
    for (const auto& [name, version] : applications_.Store()) {
      text += String::UTF16ToUTF8(name + " "_w + version) + ";";
    }
    return text;
  }

  yox_test::TemporaryFolder root_;
  LinuxApplications applications_{root_.path()};
};

TEST_F(LinuxApplicationsTest, ASystemWithoutPackagesHasNone) {
  const yox_test::CapturedLog log;
  EXPECT_EQ(Installed(), "");
  EXPECT_EQ(Store(), "");
  EXPECT_EQ(log.Text(), "");
}

TEST_F(LinuxApplicationsTest, DpkgsInstalledPackagesBelongToTheMachine) {
  File("var/lib/dpkg/status", kStatus);
  EXPECT_EQ(Installed(),
            "contoso-editor:amd64=contoso-editor 7.1.0;contoso-editor:i386=contoso-editor 7.0.0;"
            "contoso-held:all=contoso-held 4.2~rc1;");
  EXPECT_EQ(Installed(ApplicationSource::kUser), "");
  EXPECT_EQ(Installed(ApplicationSource::kMachine32), "");
}

TEST_F(LinuxApplicationsTest, RpmsPackagesStandInItsDatabase) {
  RpmDatabase("usr/lib/sysimage/rpm/rpmdb.sqlite",
              {RpmHeader({{1000, "contoso-editor"},
                          {1001, "7.1.0"},
                          {1002, "3"},
                          {1011, "Contoso"},
                          {1022, "x86_64"}}),
               RpmHeader({{1000, "gpg-pubkey"}, {1001, "a1b2c3d4"}}), "no header"});
  Link("var/lib/rpm", "../../usr/lib/sysimage/rpm");
  EXPECT_EQ(Installed(), "contoso-editor.x86_64=contoso-editor 7.1.0;");
}

TEST_F(LinuxApplicationsTest, PacmansPackagesAreFoldersOfItsDatabase) {
  File("var/lib/pacman/local/ALPM_DB_VERSION", "9\n");
  File("var/lib/pacman/local/contoso-editor-2:7.1.0-3/desc",
       "%NAME%\ncontoso-editor\n\n%VERSION%\n2:7.1.0-3\n\n%DESC%\nEdits %NAME%\n\n"
       "%ARCH%\nx86_64\n\n%PACKAGER%\nContoso Ltd <packages@contoso.example>\n");
  File("var/lib/pacman/local/contoso-fonts-1-1/desc", "%NAME%\ncontoso-fonts\n%VERSION%\n1-1\n");
  EXPECT_EQ(Installed(),
            "contoso-editor.x86_64=contoso-editor 7.1.0;contoso-fonts=contoso-fonts 1;");
  EXPECT_EQ(
      applications_.Installed(ApplicationSource::kMachine).at("contoso-editor.x86_64"_w).publisher,
      "Contoso Ltd <packages@contoso.example>"_w);
}

TEST_F(LinuxApplicationsTest, ApksPackagesAreParagraphsOfItsDatabase) {
  File("lib/apk/db/installed",
       "C:Q1abc=\nP:contoso-editor\nV:7.1.0-r3\nA:x86_64\nT:edits\nm:Contoso Ltd\nF:usr/bin\n"
       "R:P:\n\nP:contoso-fonts\nV:1.0\n");
  EXPECT_EQ(Installed(),
            "contoso-editor.x86_64=contoso-editor 7.1.0;contoso-fonts=contoso-fonts 1.0;");
}

// A tool in the place of rpm's own, which writes what the test says and notes how it was called.
class RpmTool {
 public:
  RpmTool(const fs::path& folder, const std::string& script)
      : path_(folder / "rpm"), called_(folder / "called") {
    std::ofstream(path_) << "#!/bin/sh\necho \"$@\" > " << called_ << "\n" << script;
    fs::permissions(path_, fs::perms::owner_all);
  }
  std::string path() const { return path_; }
  std::string Called() const {
    std::ifstream file(called_);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  fs::path path_;
  fs::path called_;
};

TEST_F(LinuxApplicationsTest, RpmsOtherFormatsAreReadWithItsTool) {
  const RpmTool rpm(root_.path(),
                    "printf 'contoso-editor\\tx86_64\\tContoso\\t7.1.0\\n'\n"
                    "printf 'gpg-pubkey\\t(none)\\t(none)\\ta1b2\\n'\n");
  LinuxApplications applications(root_.path(), rpm.path());
  for (const char* const database : {"var/lib/rpm/Packages", "usr/lib/sysimage/rpm/Packages.db"}) {
    File(database, "x");
    const auto installed = applications.Installed(ApplicationSource::kMachine);
    ASSERT_EQ(installed.size(), 1U) << database;
    EXPECT_EQ(installed.at("contoso-editor.x86_64"_w),
              (InstalledApplication{"contoso-editor"_w, "Contoso"_w, "7.1.0"_w}));
    EXPECT_NE(rpm.Called().find("--dbpath " + (root_.path() / database).parent_path().string()),
              std::string::npos)
        << rpm.Called();
    EXPECT_TRUE(applications.Unread().empty());
    fs::remove(root_.path() / database);
  }
}

struct UnreadRow {
  const char* name;
  const char* database;
  const char* rpm;  // the tool's script; null: there is none
  const char* unread;
};
class UnreadDatabases : public LinuxApplicationsTest,
                        public testing::WithParamInterface<UnreadRow> {};

TEST_P(UnreadDatabases, AreNamedWithTheReasonAndLogged) {
  File(GetParam().database, "x");
  const std::string tool = GetParam().rpm != nullptr ? RpmTool(root_.path(), GetParam().rpm).path()
                                                     : (root_.path() / "missing").string();
  LinuxApplications applications(root_.path(), tool);
  const auto unread = applications.Unread();
  ASSERT_EQ(unread.size(), 1U);
  const std::string folder = fs::canonical(root_.path()).string();
  EXPECT_NE(String::UTF16ToUTF8(unread[0]).find(folder + "/" + GetParam().database),
            std::string::npos);
  EXPECT_NE(String::UTF16ToUTF8(unread[0]).find(GetParam().unread), std::string::npos)
      << String::UTF16ToUTF8(unread[0]);
  const yox_test::CapturedLog log;
  EXPECT_TRUE(applications.Installed(ApplicationSource::kMachine).empty());
  EXPECT_NE(log.Text().find(GetParam().unread), std::string::npos) << log.Text();
}

INSTANTIATE_TEST_SUITE_P(
    , UnreadDatabases,
    testing::Values(
        UnreadRow{"WithoutTheTool", "var/lib/rpm/Packages", nullptr, "missing does not"},
        UnreadRow{"TheToolFails", "var/lib/rpm/Packages", "printf 'a\\tx86_64\\tb\\t1\\n'; exit 1",
                  "rpm does not read it"},
        UnreadRow{"TheToolKnowsAnotherFormat", "var/lib/rpm/Packages.db", "",
                  "rpm does not read it"},
        UnreadRow{"AFormatThatIsNotSupported", "var/db/pkg", nullptr,
                  "this format is not supported"},
        UnreadRow{"AFileInThePlaceOfAFolder", "var/lib/pacman/local", nullptr, "Not a directory"},
        UnreadRow{"ABrokenDatabase", "var/lib/rpm/rpmdb.sqlite", nullptr, "no such table"}),
    yox_test::RowName());

TEST_F(LinuxApplicationsTest, ADatabaseThatIsNoneIsLoggedAndTheRestIsRead) {
  File("var/lib/dpkg/status", kStatus);
  File("var/lib/rpm/rpmdb.sqlite", std::string(5000, 'x'));
  const yox_test::CapturedLog log;
  EXPECT_NE(Installed().find("contoso-held:all"), std::string::npos);
  EXPECT_NE(log.Text().find("rpmdb.sqlite: the file is damaged"), std::string::npos) << log.Text();
}

// rpm itself as the peer: it writes the databases that are read here, and reads one of its own.
class WithRpmTest : public LinuxApplicationsTest {
 protected:
  void SetUp() override {
    if (std::system("rpmbuild --version > /dev/null 2>&1") != 0) GTEST_SKIP() << "needs rpm";
    File("editor.spec",
         "Name: contoso-editor\nEpoch: 2\nVersion: 7.1.0\nRelease: 3\nSummary: Edits\n"
         "Vendor: Contoso Ltd\nLicense: none\nBuildArch: x86_64\n%description\nEdits\n%files\n");
    const std::string folder = root_.path().string();
    const std::string build = "rpmbuild -bb --target x86_64-linux --define '_topdir " + folder +
                              "/build' " + folder + "/editor.spec > " + folder + "/log 2>&1";
    const std::string install =
        "rpm --root " + folder +
        " --define '_db_backend sqlite' --define '_dbpath /var/lib/rpm' -i --justdb --nodeps "
        "--ignorearch --force-debian " +
        folder + "/build/RPMS/x86_64/*.rpm >> " + folder + "/log 2>&1";
    ASSERT_EQ(std::system(build.c_str()), 0) << Log();
    if (std::system(install.c_str()) != 0) GTEST_SKIP() << "this account cannot install";
    ASSERT_TRUE(fs::exists(root_.path() / kSqlite));
  }
  void ExpectTheEditor() {
    EXPECT_EQ(Installed(), "contoso-editor.x86_64=contoso-editor 7.1.0;") << Log();
    const auto installed = applications_.Installed(ApplicationSource::kMachine);
    EXPECT_EQ(installed.at("contoso-editor.x86_64"_w).publisher, "Contoso Ltd"_w);
    EXPECT_TRUE(applications_.Unread().empty());
  }
  std::string Log() {
    std::ifstream written(root_.path() / "log");
    return {std::istreambuf_iterator<char>(written), {}};
  }

  static constexpr char kSqlite[] = "var/lib/rpm/rpmdb.sqlite";
};

TEST_F(WithRpmTest, WhatItInstallsIsRead) { ExpectTheEditor(); }

TEST_F(WithRpmTest, ItsFormerDatabaseIsReadWithItsTool) {
  if (std::system("db5.3_load -V > /dev/null 2>&1") != 0) GTEST_SKIP() << "needs db5.3-util";
  std::string header;
  {
    Database database(root_.path() / kSqlite);
    Statement headers = database.Prepare("SELECT blob FROM Packages");
    ASSERT_TRUE(headers.Step());
    header = headers.Bytes(0);
  }
  fs::remove_all(root_.path() / "var/lib/rpm");
  // A hash table of headers by their numbers; 0 has the highest number that was given.
  std::string dump =
      "VERSION=3\nformat=bytevalue\ntype=hash\nHEADER=END\n 00000000\n 01000000\n"
      " 01000000\n ";
  for (const char byte : header) {
    dump += "0123456789abcdef"[static_cast<unsigned char>(byte) >> 4];
    dump += "0123456789abcdef"[byte & 0xF];
  }
  File("dump", dump + "\nDATA=END\n");
  fs::create_directories(root_.path() / "var/lib/rpm");
  const std::string folder = root_.path().string();
  ASSERT_EQ(std::system(("db5.3_load -f " + folder + "/dump " + folder +
                         "/var/lib/rpm/Packages > " + folder + "/log 2>&1")
                            .c_str()),
            0)
      << Log();
  ExpectTheEditor();
}

TEST_F(LinuxApplicationsTest, FlatpaksAndSnapsAreStoreApplications) {
  const std::string flatpak = "var/lib/flatpak/app/com.contoso.Notes/";
  File(flatpak + "x86_64/stable/abc/files/share/metainfo/com.contoso.Notes.metainfo.xml",
       "<?xml version='1.0'?><component><releases><release version='2.0.1' date='2026-01-01'/>"
       "<release version='2.0.0'/></releases></component>");
  Link(flatpak + "x86_64/stable/active", "abc");
  Link(flatpak + "current", "x86_64/stable");
  File("var/lib/flatpak/app/com.contoso.Plain/current/active/metadata", "[Application]\n");
  fs::create_directories(root_.path() / "var/lib/flatpak/app/com.contoso.Removed");
  File("snap/viewer/12/meta/snap.yaml",
       "name: contoso-viewer\nversion: '3.4' # tested\nsummary: |\n  version: 9\n");
  Link("snap/viewer/current", "12");
  fs::create_directories(root_.path() / "snap/bin");
  EXPECT_EQ(Store(), "com.contoso.Notes 2.0.1;com.contoso.Plain ;contoso-viewer 3.4;");
}

TEST_F(LinuxApplicationsTest, AnInstallationIsAnotherGeneration) {
  const std::uint64_t bare = applications_.Generation();
  EXPECT_EQ(applications_.Generation(), bare);
  File("var/lib/dpkg/status", kStatus);
  const std::uint64_t first = applications_.Generation();
  EXPECT_NE(first, bare);
  File("var/lib/dpkg/status-new", kStatus);
  fs::rename(root_.path() / "var/lib/dpkg/status-new", root_.path() / "var/lib/dpkg/status");
  const std::uint64_t second = applications_.Generation();
  EXPECT_NE(second, first);
  File("var/lib/rpm/rpmdb.sqlite-wal", "x");
  EXPECT_NE(applications_.Generation(), second);
}

TEST(ReadDpkgStatus, AnEntryAtTheEndNeedsNoEmptyLine) {
  const auto packages = ReadDpkgStatus("Package: a\r\nStatus: install ok installed\r\nVersion: 1");
  ASSERT_EQ(packages.size(), 1U);
  EXPECT_EQ(packages[0], (InstalledPackage{"a", "", "", "1"}));
}

TEST(ReadDpkgStatus, APackageWhoseTriggersHaveYetToRunIsInstalled) {
  for (const char* const state : {"installed", "triggers-pending", "triggers-awaited"}) {
    EXPECT_EQ(ReadDpkgStatus(std::string("Package: a\nStatus: install ok ") + state).size(), 1U)
        << state;
  }
}

TEST(ReadDpkgStatus, WhatIsHalfInstalledIsNot) {
  for (const char* const state :
       {"half-installed", "half-configured", "not-installed", "unpacked", "config-files", ""}) {
    EXPECT_TRUE(
        ReadDpkgStatus(std::string("Package: a\nStatus: install reinstreq ") + state).empty())
        << state;
  }
}

TEST(ReadRpmHeader, ALyingHeaderIsRefusedOrLosesTheField) {
  const std::string header = RpmHeader({{1000, "a"}, {1022, "noarch"}, {1001, "1"}});
  for (std::size_t size = 0; size < header.size(); ++size) {
    const auto package = ReadRpmHeader(std::string_view(header).substr(0, size));
    EXPECT_EQ(package.value_or(InstalledPackage{"a", "", "", ""}).name, "a") << size;
  }
  EXPECT_EQ(ReadRpmHeader(header), (InstalledPackage{"a", "noarch", "", "1"}));
  std::string far = header;
  far[8 + 2 * 16 + 8] = '\x7f';
  EXPECT_EQ(ReadRpmHeader(far), (InstalledPackage{"a", "noarch", "", ""}));
  far[0] = '\x7f';
  EXPECT_EQ(ReadRpmHeader(far), std::nullopt);
}

TEST(ReadSnapYaml, TakesTheTopLevelAlone) {
  EXPECT_EQ(ReadSnapYaml("apps:\n  version: 9\nversion: 1.2-3 # comment\nname: \"a b\"\n"),
            (InstalledPackage{"a b", "", "", "1.2-3"}));
  EXPECT_EQ(ReadSnapYaml("version: 1\n"), std::nullopt);
}

TEST(ReadMetainfoVersion, IsEmptyWithoutARelease) {
  EXPECT_EQ(ReadMetainfoVersion("<component/>"), "");
  EXPECT_EQ(ReadMetainfoVersion("<component><releases><release date='x'/></releases>"), "");
  EXPECT_EQ(ReadMetainfoVersion("no xml"), "");
}

}  // namespace
