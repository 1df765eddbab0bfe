// SPDX-License-Identifier: Apache-2.0
#include "tests/tools/account_fixture.h"

#include <stdexcept>

namespace zafo::rig {

std::vector<std::string> Words(std::string_view line) {
    std::vector<std::string> words;
    std::string word;
    bool quoted = false, begun = false;
    for (const char c : std::string(line) + " ") {
        if (c == '\'') {
            quoted = !quoted;
            begun = true;
        } else if (c == ' ' && !quoted) {
            if (begun) words.push_back(word);
            word.clear();
            begun = false;
        } else {
            word += c;
            begun = true;
        }
    }
    return words;
}

ProgramRun Line(std::string_view line, std::string_view input) {
    return Zafoldap(Words(line), input);
}

Json LineJson(std::string_view line, int exit_code, std::string_view input) {
    return ZafoldapJson(Words(line), exit_code, input);
}

std::string FinishOf(const ProgramRun &run) {
    constexpr std::string_view kMark = "to finish: zafoldap ";
    const size_t at = run.err.find(kMark);
    EXPECT_NE(at, std::string::npos) << run.err;
    if (at == std::string::npos) return {};
    const std::string rest = run.err.substr(at + kMark.size());
    return rest.substr(0, rest.find('\n'));
}

AccountCommand::AccountCommand(const char *variant) : directory_(VariantDirectory(variant)) {
    ForgetConnections();
    const ProgramRun run =
        Zafoldap({"connection", "add", "root", "--uri", directory_.Uri(), "--ssl", "off", "--base",
                  "dc=example,dc=com", "--bind-dn", directory_.BindDN(), "--password-stdin"},
                 directory_.Password());
    EXPECT_EQ(run.exit_code, 0) << run.err;
    directory_.Change(
        "dn: cn=users,cn=groups,dc=example,dc=com\nchangetype: add\nobjectClass: posixGroup\n"
        "cn: users\ngidNumber: 1500000\n");
}

AccountCommand::~AccountCommand() {
    std::string changes;
    for (const char *below : {"cn=users,dc=example,dc=com", "cn=groups,dc=example,dc=com"}) {
        for (const LdifEntry &entry : directory_.Read(below, "one", {"(objectClass=*)", "1.1"}))
            changes += "dn: " + entry.dn + "\nchangetype: delete\n\n";
    }
    if (!changes.empty()) directory_.Change(changes);
}

LdifEntry AccountCommand::Entry(const std::string &dn) const {
    try {
        const auto found = directory_.Read(dn, "base");
        return found.empty() ? LdifEntry(dn) : found.front();
    } catch (const std::runtime_error &) {
        return LdifEntry(dn);
    }
}

std::vector<std::string> AccountCommand::Values(const std::string &dn,
                                                const std::string &attribute) const {
    return Entry(dn).All(attribute);
}

std::string AccountCommand::Value(const std::string &dn, const std::string &attribute) const {
    const auto values = Values(dn, attribute);
    return values.empty() ? "" : values.front();
}

std::string AccountCommand::Tree() const {
    return directory_
        .Client("ldapsearch",
                {"-LLL", "-b", "dc=example,dc=com", "(objectClass=*)", "*", "entryCSN"})
        .out;
}

}  // namespace zafo::rig
