// SPDX-License-Identifier: MIT
#include "cli/ServerConfiguration.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace varnel::cli {
namespace {

std::vector<std::string> folders(const std::vector<ServerConfiguration::Share>& shares) {
    std::vector<std::string> result;
    for (const auto& share : shares)
        result.push_back(share.folder);
    return result;
}

using Texts = std::vector<std::string>;

TEST(ServerConfiguration, SMBSharesWithTheModuleForMacsKeepForks) {
    const struct {
        const char* text;
        Texts expected;
    } cases[] = {
        {"", {}},
        {"[s]\npath=/srv/a\n", {}},
        {"[s]\n  path = /srv/a/ \n  vfs objects = catia fruit streams_xattr\n", {"/srv/a"}},
        {"[global]\nVFS Objects = fruit\n[s]\npath = /srv/a\n[t]\npath = /srv/b\nvfs objects = acl_xattr\n",
         {"/srv/a"}},
        {"[s]\npath=/srv/a\nvfs objects=fruit\nfruit:resource = xattr\n", {}},
        {"[s]\npath=/srv/a\nvfs objects=fruit\nfruit:resource = stream\n", {}},
        {"[s]\npath=/srv/a\nvfs objects=fruit\nfruit:resource = FILE\n", {"/srv/a"}},
        {"[global]\nfruit:resource=stream\nvfs objects=fruit\n[s]\npath=/srv/a\n", {}},
        {"# [x]\n; path=/srv/no\n[s]\n#vfs objects=fruit\npath=/srv/a\n", {}},
        {"path=/srv/a\nvfs objects=fruit\n", {}},
        {"[s\npath=/srv/a\nvfs objects=fruit", {"/srv/a"}},
        {"[s]\ndirectory=/srv/a\nvfs objects = fruits\n", {}},
        {"[s]\ndirectory=/srv/a\nvfs object = fruit\n", {"/srv/a"}},
        {"[s]\npath=/srv/users/x-%U/data\nvfs objects=fruit\n", {"/srv/users"}},
        {"[s]\npath=%H\nvfs objects=fruit\n", {"/"}},
        {"[global]\nvfs objects=fruit\npath=/srv/no\n[homes]\n", {"/home"}},
        {"[homes]\npath=/data/%S\nvfs objects=fruit\n", {"/data"}},
        {"[s]\npath = \"/srv/a b\"\nvfs objects = fruit\n", {"/srv/a b"}},
        {"[s]\npath=/srv/a\nvfs objects = catia \\\n  fruit\n", {"/srv/a"}},
        {"[s]\npath=/srv/a\nvfs objects = catia \\", {}},
        {"[Pattern]\nvfs objects=fruit\n[s]\ncopy = pattern\npath=/srv/a\n", {"/srv/a"}},
        {"[pattern]\nvfs objects=fruit\n[s]\ncopy = pattern\npath=/srv/a\nvfs objects=\n", {}},
        // What stands in several places is one section, and every value of a setting counts.
        {"[global]\nworkgroup=W\n[s]\npath=/srv/a\n[GLOBAL]\nvfs objects=fruit\n", {"/srv/a"}},
        {"[s]\npath=/srv/a\n[t]\npath=/srv/b\n[S]\nvfs objects=fruit\n", {"/srv/a"}},
        {"[s]\npath=/srv/a\npath=/srv/b\nvfs objects=fruit\nvfs objects=\n", {"/srv/a", "/srv/b"}},
        {"[s]\npath=/srv/a\nvfs objects=fruit\nfruit:resource=file\nfruit:resource=xattr\n", {"/srv/a"}},
        {"[s]\ncopy = s\npath=/srv/a\nvfs objects=fruit\n", {"/srv/a"}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(folders(ServerConfiguration::inSMBConfiguration(c.text, "f")), c.expected) << c.text;
    EXPECT_EQ(
        ServerConfiguration::inSMBConfiguration("[My Share]\npath=/a\nvfs objects=fruit", "smb.conf")[0].configuration,
        "smb.conf: [my share]");
}

TEST(ServerConfiguration, UsersShareAsTheServerDoes) {
    using Folders = std::set<std::string>;
    const struct {
        const char* text;
        Folders expected;
    } cases[] = {
        {"", {}},
        {"[s]\nvfs objects=fruit\n", {}},
        {"[global]\nvfs objects=fruit\n", {"/var/lib/samba/usershares"}},
        {"[global]\nusershare path = /srv/own\n[global]\nvfs objects=fruit\n", {"/srv/own"}},
        {"[global]\nvfs objects=fruit\nfruit:resource=stream\n", {}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ServerConfiguration::userShareFolders(c.text), c.expected) << c.text;
    const auto shares = ServerConfiguration::inUserShare("#VERSION 2\npath=/srv/a/\ncomment=\nguest_ok=n\n", "u/a");
    ASSERT_EQ(folders(shares), Texts{"/srv/a"});
    EXPECT_EQ(shares[0].configuration, "u/a");
    EXPECT_EQ(folders(ServerConfiguration::inUserShare("[own]\npath=/srv/b\n", "u/b")), Texts{"/srv/b"});
    EXPECT_EQ(folders(ServerConfiguration::inUserShare("comment=path\n", "u/c")), Texts());
}

TEST(ServerConfiguration, AFPVolumesThatKeepFilesKeepForks) {
    const struct {
        const char* text;
        Texts expected;
    } cases[] = {
        {"[v]\npath=/srv/a\n", {}},
        {"[v]\npath=/srv/a\nea = ad\n", {"/srv/a"}},
        {"[Global]\nea = ad\n[v]\npath=/srv/a\n[w]\npath=/srv/b\nea = sys\n", {"/srv/a"}},
        {"[v]\npath=/srv/a\nappledouble = v2\n", {"/srv/a"}},
        {"[v]\npath=/srv/$u\nea = ad\n", {"/srv"}},
        {"[Homes]\nbasedir regex = /(users|staff)\nea = ad\n", {"/"}},
        {"[v]\npath=/srv/a\n[Global]\nvol preset=x\n[global]\nea = ad\n", {"/srv/a"}},
        {"[Homes]\nbasedir regex = /users\npath = mac\nea = ad\n", {"/users"}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(folders(ServerConfiguration::inAFPConfiguration(c.text, "f")), c.expected) << c.text;
}

TEST(ServerConfiguration, EveryVolumeOfAnOldListKeepsForks) {
    const std::string text =
        "# comment\n:DEFAULT: options:upriv\n~ \"Home\"\n/srv/a \"A\" cnidscheme:dbd\n\"/srv/b c/\" B\n\nrelative\n";
    const Texts found = folders(ServerConfiguration::inAFPVolumeList(text, "f"));
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[0], "/home");
    EXPECT_EQ(found[1], "/srv/a");
    EXPECT_EQ(found[2], "/srv/b c");
}

TEST(ServerConfiguration, NamesWhatElseIsPartOfIt) {
    const struct {
        const char *line, *expected;
    } cases[] = {
        {"include = /etc/samba/more", "/etc/samba/more"},
        {"  INCLUDE=\"/etc/with blank\"", "/etc/with blank"},
        {"include = registry", "registry"},
        {"config backend = registry", "registry"},
        {"config backend = file", ""},
        {"includes = /etc/no", ""},
        {"# include = /etc/no", ""},
        {"include", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ServerConfiguration::inclusion(c.line), c.expected) << c.line;
}

}  // namespace
}  // namespace varnel::cli
