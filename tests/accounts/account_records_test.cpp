// SPDX-License-Identifier: Apache-2.0
//
// Every record that the writers of new accounts can produce: all combinations of the classes that a
// server may know and of the optional fields, compared with texts assembled from an independent
// table.
#include "src/accounts/account_record.h"
#include "src/accounts/group_record.h"
#include "src/accounts/user_record.h"
#include "tests/accounts/writing_fixture.h"
#include "zafoldap/object_class.h"

namespace zafo::accounts_test::records {
namespace {

// One group of lines. Text in braces is substituted; a line that begins with "{?" is omitted when
// the value is empty.
struct Block {
    unsigned bit;
    const char *text;
};

using Values = std::map<std::string, std::string>;

const Block kUserBlocks[] = {
    {0x001, "objectClass: top\n"},
    {0x020,
     "cn: {name}\n"
     "uid: {name}\n"
     "{?gecos: full}"
     "userPassword: {password}\n"
     "uidNumber: 4294967294\n"
     "gidNumber: 100\n"
     "loginShell: {shell}\n"
     "homeDirectory: {home}\n"
     "objectClass: posixAccount\n"},
    {0x100,
     "shadowLastChange: 19675\n"
     "shadowMin: {min}\n"
     "shadowMax: 99999\n"
     "shadowWarning: 7\n"
     "shadowExpire: -5\n"
     "shadowInactive: 0\n"
     "shadowFlag: 0\n"
     "objectClass: shadowAccount\n"},
    {0x010,
     "sn: {name}\n"
     "objectClass: person\n"},
    {0x008, "objectClass: organizationalPerson\n"},
    {0x080,
     "{?mail: mail}"
     "objectClass: inetOrgPerson\n"},
    {0x200,
     "objectClass: apple-user\n"
     "authAuthority: ;basic;\n"},
    {0x800,
     "sambaSID: {sid}\n"
     "{?sambaNTPassword: hash}"
     "{?sambaLMPassword: lm}"
     "sambaPasswordHistory: "
     "0000000000000000000000000000000000000000000000000000000000000000\n"
     "sambaPwdLastSet: 1700000001\n"
     "sambaAcctFlags: [U          ]\n"
     "displayName: {name}\n"
     "objectClass: sambaSamAccount\n"
     "objectClass: sambaIdmapEntry\n"},
    {0x004, "objectClass: extensibleObject\n"},
};

const Block kGroupBlocks[] = {
    {0x0001, "objectClass: top\n"},
    {0x0040,
     "cn: staff\n"
     "gidNumber: 4294967294\n"
     "{?description: description}"
     "{members}"
     "objectClass: posixGroup\n"},
    {0x0004, "objectClass: extensibleObject\n"},
    {0x0400, "objectClass: apple-group\n"},
    {0x1000,
     "sambaSID: {sid}\n"
     "displayName: staff\n"
     "sambaGroupType: 2\n"
     "objectClass: sambaGroupMapping\n"
     "objectClass: sambaIdmapEntry\n"},
};

// Replaces "{key}" with the value, and "{?attribute: key}" with a whole line or nothing.
std::string Filled(std::string text, const Values &values) {
    size_t at = 0;
    for (size_t open; (open = text.find('{', at)) != std::string::npos;) {
        const size_t close = text.find('}', open);
        const std::string inner = text.substr(open + 1, close - open - 1);
        std::string filling;
        if (inner[0] == '?') {
            const size_t colon = inner.find(':');
            const std::string &value = values.at(inner.substr(colon + 2));
            if (!value.empty()) filling = inner.substr(1, colon) + " " + value + "\n";
        } else {
            filling = values.at(inner);
        }
        text.replace(open, close - open + 1, filling);
        at = open + filling.size();
    }
    return text;
}

// The records of all schemas in sequence.
template <size_t n>
Texts Expected(const Block (&blocks)[n], const std::vector<unsigned> &schemas,
               const std::string &dn, const Values &values) {
    Texts filled;
    for (const Block &block : blocks)
        filled.push_back(Filled(block.text, values));
    Texts records;
    for (const unsigned schema : schemas) {
        std::string record = "dn: " + dn + "\nchangetype: add\n";
        for (size_t i = 0; i < n; ++i) {
            if ((schema & blocks[i].bit) != 0) record += filled[i];
        }
        records.push_back(record + values.at("extra"));
    }
    return records;
}

// The schemas formed from the bits of the blocks: every subset.
template <size_t n>
std::vector<unsigned> AllSchemas(const Block (&blocks)[n]) {
    std::vector<unsigned> schemas;
    for (unsigned subset = 0; subset < 1u << n; ++subset) {
        unsigned schema = 0;
        for (size_t i = 0; i < n; ++i)
            schema |= (subset >> i & 1) != 0 ? blocks[i].bit : 0;
        schemas.push_back(schema);
    }
    return schemas;
}

class RecordGrid : public WritingTest {
  protected:
    // What a writer puts into a change file.
    template <class Writer>
    std::string Written(const Writer &write) {
        ZAFOLDAP_LDIF ldif;
        EXPECT_EQ(ZAFOLDAPLdifInit(&ldif, nullptr), 0);
        write(&ldif);
        ZAFOLDAPLdifClose(&ldif);
        const std::string text = core_test::ContentOf(ldif.szPath);
        ZAFOLDAPLdifUnlink(&ldif);
        return text;
    }

    // Writes the records of all schemas into one file, and each one separately where it differs.
    template <class Writer>
    void ExpectRecords(const std::vector<unsigned> &schemas, const Texts &expected,
                       const Writer &write) {
        std::string all;
        for (const std::string &record : expected)
            all += record;
        const auto write_all = [&](ZAFOLDAP_LDIF *ldif) {
            for (const unsigned schema : schemas)
                write(ldif, schema);
        };
        if (Written(write_all) == all) return;
        for (size_t i = 0; i < schemas.size(); ++i) {
            EXPECT_EQ(Written([&](ZAFOLDAP_LDIF *ldif) { write(ldif, schemas[i]); }), expected[i])
                << std::hex << schemas[i];
        }
        ADD_FAILURE() << "the records differ";
    }

    const List extra_{"l", "Berlin", "odd"};
};

// The omitted fields of a user: bits of `left_out`.
enum : unsigned { kFullName, kHome, kShell, kMail, kPassword, kSid, kExtra, kOptions };

struct UserInput {
    Person person;
    bool has_password;
    const char *sid;
    bool has_extra;
};

// Omitted fields are NULL, or empty for every second combination.
UserInput InputWithout(unsigned left_out) {
    const auto is_out = [=](unsigned option) { return (left_out >> option & 1) != 0; };
    const Text nothing = left_out / 3 % 2 == 0 ? Text() : Text("");
    UserInput input{Anna(), !is_out(kPassword), is_out(kSid) ? "" : "S-1-5-9", !is_out(kExtra)};
    Person &person = input.person;
    person.password = is_out(kPassword) ? "" : kHash;
    person.uid = UID_ERR - 1;
    person.expire = -5;
    person.disallow = static_cast<int>(left_out % 3);
    if (is_out(kFullName)) person.full_name = nothing;
    if (is_out(kHome)) person.home = nothing;
    if (is_out(kShell)) person.shell = nothing;
    if (is_out(kMail)) person.mail = nothing;
    return input;
}

Values ValuesOf(const UserInput &input) {
    const auto or_default = [](const Text &text, const char *otherwise) {
        return text.value_or("").empty() ? otherwise : *text;
    };
    const Person &person = input.person;
    return {{"name", *person.name},
            {"full", person.full_name.value_or("")},
            {"password", *person.password},
            {"shell", or_default(person.shell, "/bin/sh")},
            {"home", or_default(person.home, "/home/anna.smith")},
            {"min", person.disallow == 1 ? "100000" : "0"},
            {"mail", person.mail.value_or("")},
            {"sid", input.sid},
            {"hash", input.has_password ? "0123456789ABCDEF0123456789ABCDEF" : ""},
            {"lm", input.has_password ? std::string(32, 'X') : ""},
            {"extra", input.has_extra ? "l: Berlin\n" : ""}};
}

TEST_F(RecordGrid, UserOfEverySchemaAndEveryOptionalField) {
    const std::vector<unsigned> schemas = AllSchemas(kUserBlocks);
    ASSERT_EQ(schemas.size(), 512u);
    for (unsigned left_out = 0; left_out < 1u << kOptions; ++left_out) {
        const UserInput input = InputWithout(left_out);
        const Values values = ValuesOf(input);
        const UserRecord user(input.person);
        NewUser record{};
        record.user = &user;
        record.dn = kPersonDN;
        record.password = *input.person.password;
        record.sid = input.sid;
        if (input.has_password) record.nt_hash = values.at("hash");
        record.now = 1700000001;
        record.extra = input.has_extra ? extra_.Get() : nullptr;
        SCOPED_TRACE(testing::Message() << "left out " << std::hex << left_out);
        ExpectRecords(
            schemas, Expected(kUserBlocks, schemas, kPersonDN, values),
            [&](ZAFOLDAP_LDIF *ldif, unsigned schema) { WriteUserRecord(ldif, schema, record); });
    }
}

TEST_F(RecordGrid, GroupOfEverySchemaAndEveryOptionalField) {
    const std::vector<unsigned> schemas = AllSchemas(kGroupBlocks);
    ASSERT_EQ(schemas.size(), 32u);
    const std::optional<Texts> crews[] = {
        {}, Texts{}, Texts{"alice"}, Texts{"bob", "alice", "bob"}};
    for (const auto &members : crews) {
        std::string lines;
        for (const std::string &member : members.value_or(Texts{}))
            lines.append("memberUid: ").append(member).append("\n");
        const GroupRecord group("staff", GID_ERR - 1, members);
        for (const char *description : {static_cast<const char *>(nullptr), "", "All of them"}) {
            for (const char *sid : {"", "S-1-5-9"}) {
                for (const QLIBSZLIST *extra : {static_cast<QLIBSZLIST *>(nullptr), extra_.Get()}) {
                    const NewGroup record{&group, kStaffDN, description, sid, extra};
                    const Values values = {
                        {"description", description != nullptr ? description : ""},
                        {"members", lines},
                        {"sid", sid},
                        {"extra", extra != nullptr ? "l: Berlin\n" : ""}};
                    ExpectRecords(schemas, Expected(kGroupBlocks, schemas, kStaffDN, values),
                                  [&](ZAFOLDAP_LDIF *ldif, unsigned schema) {
                                      WriteGroupRecord(ldif, schema, record);
                                  });
                }
            }
        }
    }
}

// ldapmodify(1) strips what the C locale considers blank; a blank within a value is kept.
TEST_F(RecordGrid, ValueThatBeginsWithAnyBlankIsWrittenInBase64) {
    const std::pair<const char *, const char *> kLines[] = {
        {" x", "mail:: IHg=\n"},  {"\tx", "mail:: CXg=\n"}, {"\vx", "mail:: C3g=\n"},
        {"\fx", "mail:: DHg=\n"}, {"x\v", "mail: x\v\n"},   {"", "mail: \n"},
    };
    for (const auto &[value, line] : kLines)
        EXPECT_EQ(Written([value = value](auto *ldif) { WriteValue(ldif, "mail", value); }), line);
}

TEST_F(RecordGrid, OtherBitsOfTheSchemaMakeNoDifference) {
    const UserRecord user(Anna());
    const NewUser record{&user, "dc=a", "{CRYPT}x", "S", {}, 0, nullptr};
    const GroupRecord group("staff", 1, {});
    const NewGroup group_record{&group, "dc=a", nullptr, "S", nullptr};
    const auto user_text = [&](unsigned schema) {
        return Written([&](auto *ldif) { WriteUserRecord(ldif, schema, record); });
    };
    const auto group_text = [&](unsigned schema) {
        return Written([&](auto *ldif) { WriteGroupRecord(ldif, schema, group_record); });
    };
    EXPECT_EQ(user_text(~0u), user_text(0xBBD));
    EXPECT_EQ(user_text(~0xBBDu), user_text(0));
    EXPECT_EQ(group_text(~0u), group_text(0x1445));
    EXPECT_EQ(group_text(~0x1445u), group_text(0));
}

}  // namespace
}  // namespace zafo::accounts_test::records
