// SPDX-License-Identifier: Apache-2.0
//
// Mounted exports, and the users whose folders are created in them.
#pragma once

#include <unistd.h>

#include <filesystem>

#include "tests/foreign/server.h"

namespace zafo::foreign {

inline constexpr char kWildcard[] = "automountKey=*,automountMapName=auto_home,dc=x,dc=example";

inline std::string MountPoint() {
    return "/zafoldaphomefolder." + std::to_string(getpid());
}
inline std::string FolderOf(const std::string &name) {
    return MountPoint() + "/" + name;
}

class HomeTest : public ServerTest {
  protected:
    Host host_;
    ZAFOUSER user_{};
    std::string name_ = "ann";

    void SetUp() override {
        ServerTest::SetUp();
        std::filesystem::remove_all(MountPoint());
        user_.szName = name_.data();
        user_.pw_uid = 1001;
        user_.pw_gid = 1002;
    }
    // The export's content disappears with the unmount, so that the mount point can be removed.
    void LeaveEmptyAtUnmounting() {
        platform()
            .On("umount")
            .Does([](const Run &) {
                for (const auto &item : std::filesystem::directory_iterator(MountPoint()))
                    std::filesystem::remove_all(item.path());
            })
            .Always();
    }
    // The export's content once it is mounted.
    Tool &Mounted(const std::function<void()> &fill) {
        return platform().On("mount").Does([fill](const Run &) { fill(); });
    }
    Strings MadeFolders() {
        Strings folders;
        for (const Call &call : platform().CallsOf("ZAFOFSMkdirP"))
            folders.push_back(call.arguments.at(0));
        return folders;
    }
    Strings Mounts() {
        Strings sources;
        for (const Run &run : platform().RunsOf("mount"))
            sources.push_back(run.argv.at(0));
        return sources;
    }
    // The directory's users, each with this answer to the query for the entry.
    void AnswerUsers(const Strings &names) {
        std::string users;
        for (const std::string &name : names)
            users += Entry("uid=" + name + ",cn=users,dc=x,dc=example", {{"uid", name}});
        platform()
            .On("ldapsearch",
                [](const Strings &argv) { return !argv.empty() && argv.back() == "uid"; })
            .Prints(users);
    }
    Tool &AnswerUser(const std::string &name) {
        const std::string dn = "uid=" + name + ",cn=users,dc=x,dc=example";
        return platform().On("ldapsearch", dn);
    }
    void AnswerUser(const std::string &name, int uid, int gid) {
        AnswerUser(name).Prints(Entry("uid=" + name + ",cn=users,dc=x,dc=example",
                                      {{"uid", name},
                                       {"uidNumber", std::to_string(uid)},
                                       {"gidNumber", std::to_string(gid)}}));
    }
};

}  // namespace zafo::foreign
