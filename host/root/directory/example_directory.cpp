// SPDX-License-Identifier: Apache-2.0
#include "host/root/directory/example_directory.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

namespace zafo::rig {

namespace {

// A name as its owner writes it, and its form in login names.
struct Name {
    const char *text;
    const char *login;
};

constexpr std::array kGivenNames = {
    Name{"Anna", "anna"},       Name{"Zoë", "zoe"},       Name{"José", "jose"},
    Name{"Björn", "bjoern"},    Name{"Łukasz", "lukasz"}, Name{"Søren", "soeren"},
    Name{"Chloé", "chloe"},     Name{"明", "ming"},       Name{"さくら", "sakura"},
    Name{"محمد", "mohammed"},   Name{"Ольга", "olga"},    Name{"Δημήτρης", "dimitris"},
    Name{"지우", "jiwoo"},      Name{"James", "james"},   Name{"Mary", "mary"},
    Name{"Robert", "robert"},   Name{"Linda", "linda"},   Name{"Ingrid", "ingrid"},
    Name{"Pedro", "pedro"},     Name{"Kwame", "kwame"},   Name{"Oisín", "oisin"},
    Name{"Siobhán", "siobhan"}, Name{"Thuỳ", "thuy"},     Name{"Priya", "priya"},
};

constexpr std::array kSurnames = {
    Name{"Smith", "smith"},
    Name{"Müller", "mueller"},
    Name{"O'Brien", "obrien"},
    Name{"García", "garcia"},
    Name{"Nowak", "nowak"},
    Name{"Østergård", "oestergaard"},
    Name{"王", "wang"},
    Name{"田中", "tanaka"},
    Name{"الحسن", "alhassan"},
    Name{"Иванова", "ivanova"},
    Name{"Παπαδόπουλος", "papadopoulos"},
    Name{"김", "kim"},
    Name{"Dubois", "dubois"},
    Name{"Rossi", "rossi"},
    Name{"van den Berg", "vandenberg"},
    Name{"Sjöström", "sjoestroem"},
    Name{"Çelik", "celik"},
    Name{"Okafor", "okafor"},
    Name{"Novák", "novak"},
    Name{"Ferreira", "ferreira"},
    Name{"D'Souza", "dsouza"},
    Name{"Nguyễn", "nguyen"},
    Name{"Þórsdóttir", "thorsdottir"},
};

constexpr std::array kDepartments = {
    "accounting", "archive", "design", "development", "facilities", "legal", "logistics",
    "marketing",  "medical", "press",  "procurement", "research",   "sales", "support",
};

constexpr std::array kTowns = {"Zürich",    "São Paulo", "東京",   "Kraków",
                               "Reykjavík", "Nairobi",   "القاهرة"};
constexpr std::array kTitles = {"Engineer", "Ingénieure", "Buchhalter", "Архитектор", "看護師"};

template <typename Table>
const auto &Pick(const Table &table, unsigned index) {
    return table[index % table.size()];
}

const Name &GivenName(unsigned index) {
    return Pick(kGivenNames, index);
}

// 24 given names and 23 surnames have no common factor, so all pairs occur in turn.
const Name &Surname(unsigned index) {
    return Pick(kSurnames, index);
}

std::string FullName(unsigned index) {
    return std::string(GivenName(index).text) + " " + Surname(index).text;
}

// {SSHA} of kExampleUserPassword.
constexpr const char *kPasswordHash = "{SSHA}4+7EnndLM6VTrimVBSb2TySh5SB6YWZvc2FsdA==";

constexpr unsigned kFirstUid = 20000;
constexpr unsigned kFirstGid = 30000;

std::string UnderBase(const std::string &rdn, const std::string &base = kExampleBase) {
    return rdn + "," + base;
}

std::string UserDN(const std::string &login) {
    return UnderBase("uid=" + login + ",cn=users");
}

// The start of a JPEG file followed by bytes of every value, including NUL.
std::string Photo(size_t size, std::uint32_t seed) {
    std::string bytes("\xFF\xD8\xFF\xE0\x00\x10JFIF\x00", 11);
    while (bytes.size() < size) {
        seed = seed * 1664525U + 1013904223U;
        bytes.push_back(static_cast<char>(seed >> 24));
    }
    return bytes;
}

LdifEntry Account(const std::string &login, const std::string &name, const Name &given,
                  const Name &surname, unsigned uid, unsigned gid) {
    LdifEntry entry(UserDN(login));
    for (const char *object_class :
         {"inetOrgPerson", "organizationalPerson", "person", "posixAccount", "shadowAccount"}) {
        entry.Add("objectClass", object_class);
    }
    return entry.Add("uid", login)
        .Add("cn", name)
        .Add("sn", surname.text)
        .Add("givenName", given.text)
        .Add("mail", login + "@example.com")
        .Add("uidNumber", std::to_string(uid))
        .Add("gidNumber", std::to_string(gid))
        .Add("homeDirectory", "/home/" + login)
        .Add("loginShell", "/bin/bash")
        .Add("gecos", name)
        .Add("userPassword", kPasswordHash)
        .Add("shadowLastChange", std::to_string(19000 + uid % 700));
}

void AddDetails(LdifEntry &entry, unsigned index) {
    const std::string number = std::to_string(100000 + index);
    entry.Add("displayName", std::string(Surname(index).text) + ", " + GivenName(index).text)
        .Add("mail", number + "@mail.example.com")
        .Add("shadowMin", "0")
        .Add("shadowMax", "99999")
        .Add("shadowWarning", "7")
        .Add("title", Pick(kTitles, index))
        .Add("departmentNumber", Pick(kDepartments, index))
        .Add("employeeNumber", number)
        .Add("employeeType", index % 9 == 0 ? "external" : "permanent")
        .Add("telephoneNumber", "+41 44 555 " + number)
        .Add("mobile", "+41 79 555 " + number)
        .Add("roomNumber", std::to_string(index % 50))
        .Add("description", "Joined in " + std::to_string(1990 + index % 34) + "; works in " +
                                Pick(kDepartments, index) +
                                ", shares a desk every second week and answers the telephone.");
}

LdifEntry User(unsigned index, bool full) {
    LdifEntry entry =
        Account(ExampleLogin(index), FullName(index), GivenName(index), Surname(index),
                kFirstUid + index, kFirstGid + index % unsigned{kDepartments.size()});
    entry.Add("l", Pick(kTowns, index));
    if (full) AddDetails(entry, index);
    if (!full && index % 100 == 0) entry.Add("jpegPhoto", Photo(1500, index));
    return entry;
}

LdifEntry Container(const std::string &dn) {
    const size_t equals = dn.find('=');
    const std::string attribute = dn.substr(0, equals);
    const std::string value = dn.substr(equals + 1, dn.find(',') - equals - 1);
    const char *object_class = attribute == "dc"   ? "domain"
                               : attribute == "ou" ? "organizationalUnit"
                                                   : "organizationalRole";
    return LdifEntry(dn).Add("objectClass", object_class).Add(attribute, value);
}

// "member" requires "extensibleObject", as in the groups that the appliance writes.
LdifEntry Group(const std::string &name, unsigned gid) {
    return LdifEntry(UnderBase("cn=" + name + ",cn=groups"))
        .Add("objectClass", "posixGroup")
        .Add("objectClass", "extensibleObject")
        .Add("cn", name)
        .Add("gidNumber", std::to_string(gid));
}

// Lists each member twice, by login name and by DN.
void AddMembers(LdifEntry &group, unsigned first, unsigned end, unsigned step) {
    for (unsigned user = first; user < end; user += step) {
        group.Add("memberUid", ExampleLogin(user));
    }
    for (unsigned user = first; user < end; user += step) {
        group.Add("member", UserDN(ExampleLogin(user)));
    }
}

LdifEntry Department(unsigned index, unsigned users) {
    LdifEntry group = Group(kDepartments[index], kFirstGid + index);
    group.Add("description", std::string("Everybody in ") + kDepartments[index]);
    AddMembers(group, index, std::min(users, 600U), unsigned{kDepartments.size()});
    return group;
}

LdifEntry LargestGroup() {
    LdifEntry group = Group("everyone", 39999);
    AddMembers(group, 0, kLargestGroupMembers, 1);
    return group;
}

// A specimen whose "cn" is its name; `rdn` is already escaped for the DN.
LdifEntry Specimen(const std::string &rdn, const std::string &cn,
                   const std::string &sn = "Specimen") {
    return LdifEntry(UnderBase(rdn, kSpecimenBase))
        .Add("objectClass", "inetOrgPerson")
        .Add("cn", cn)
        .Add("sn", sn);
}

std::string Repeated(std::string_view text, size_t times) {
    std::string all;
    for (size_t n = 0; n < times; ++n)
        all += text;
    return all;
}

// Values that plain LDIF text cannot represent, or just can.
std::vector<LdifEntry> ValueSpecimens() {
    std::vector<LdifEntry> entries;
    entries.push_back(Specimen("cn=blanks and colons", "blanks and colons")
                          .Add("description", " leading blank")
                          .Add("description", "trailing blanks  ")
                          .Add("description", ": leading colon")
                          .Add("description", ":: two leading colons")
                          .Add("description", "<file:///etc/passwd")
                          .Add("description", "#no comment")
                          .Add("description", "- no separator")
                          .Add("description", "a: b:: c")
                          .Add("description", "\ttab first"));
    entries.push_back(Specimen("cn=line breaks", "line breaks")
                          .Add("description", "one\ntwo\n\nfour")
                          .Add("description", "carriage return\r\n")
                          .Add("description", "dn: cn=no entry\nobjectClass: none")
                          .Add("postalAddress", "Bahnhofstraße 1$8001 Zürich$Schweiz"));
    LdifEntry empty = Specimen("cn=empty values", "empty values");
    empty.Add("objectClass", "posixAccount").Add("uid", "empty").Add("uidNumber", "19998");
    entries.push_back(empty.Add("gidNumber", "19998")
                          .Add("homeDirectory", "")
                          .Add("loginShell", "")
                          .Add("userPassword", ""));
    entries.push_back(Specimen("cn=long values", "long values")
                          .Add("description", Repeated("folded over and over ", 1000) + "end")
                          .Add("description", Repeated("überlang ", 2000) + "Ende")
                          .Add("description", std::string(76 - 13, 'x'))
                          .Add("description", std::string(76 - 13 + 1, 'y'))
                          .Add("description", std::string(76 - 13 - 1, 'z')));
    entries.push_back(Specimen("cn=binary", "binary")
                          .Add("jpegPhoto", Photo(64 * 1024, 7))
                          .Add("jpegPhoto", Photo(300, 8))
                          .Add("jpegPhoto", std::string("text\0behind", 11)));
    LdifEntry many = Specimen("cn=many values", "many values");
    for (unsigned n = 0; n < 60; ++n)
        many.Add("telephoneNumber", "+41 44 555 " + std::to_string(1000 + n));
    entries.push_back(many.Add("cn", "viele Werte").Add("cn", "多くの値").Add("sn", "Exemplar"));
    entries.push_back(Specimen("cn=languages", "languages")
                          .Add("cn;lang-de", "Sprachen")
                          .Add("cn;lang-ja", "言語")
                          .Add("description;lang-de", "auf Deutsch")
                          .Add("description;lang-de", "noch einmal, größer")
                          .Add("description;lang-fr", "en français")
                          .Add("sn;lang-el;lang-en-us", "Δείγμα"));
    entries.push_back(
        Specimen("cn=emoji", "emoji", "👩🏽‍🚀")
            .Add("description",
                 "family 👨‍👩‍👧‍👦, flag 🏴󠁧󠁢󠁳󠁣󠁴󠁿, Ꙭ, 𝒵, "
                 "e\u0301")
            .Add("description", "مرحبا بالعالم (right to left)"));
    return entries;
}

// Names that must be escaped, in every way that RFC 4514 allows.
std::vector<LdifEntry> NameSpecimens() {
    std::vector<LdifEntry> entries;
    entries.push_back(Specimen("cn=Smith\\, John", "Smith, John"));
    entries.push_back(Specimen("cn=Doe\\2C Jane", "Doe, Jane"));
    entries.push_back(Specimen("cn=C\\+\\+ Developer", "C++ Developer"));
    entries.push_back(Specimen("cn=\\\"The Boss\\\"", "\"The Boss\""));
    entries.push_back(Specimen("cn=back\\\\slash", "back\\slash"));
    entries.push_back(Specimen("cn=less\\<more\\>\\;equals\\=", "less<more>;equals="));
    entries.push_back(Specimen("cn=\\#hash first", "#hash first"));
    entries.push_back(Specimen("cn=\\ blanks outside\\ ", " blanks outside "));
    entries.push_back(Specimen("cn=filter (with) * in it", "filter (with) * in it"));
    entries.push_back(Specimen("cn=Lu\\C4\\8Di\\C4\\87", "Lučić"));
    entries.push_back(Specimen("cn=Größe Straße", "Größe Straße"));
    entries.push_back(Specimen("cn=山田太郎", "山田太郎"));
    entries.push_back(Specimen("cn=محمد الحسن", "محمد الحسن"));
    entries.push_back(Specimen("cn=🚀 launch", "🚀 launch"));
    entries.push_back(Specimen("cn=two parts+sn=Specimen", "two parts"));
    const std::string long_name = Repeated("a rather long name ", 12) + "end";
    entries.push_back(Specimen("cn=" + long_name, long_name));
    return entries;
}

void FirstTree(const ExampleOptions &options, const std::function<void(const LdifEntry &)> &take) {
    take(Container(kExampleBase).Add("description", "Example company, första trädet"));
    take(Container(UnderBase("cn=users")));
    take(Container(UnderBase("cn=groups")));
    take(
        Account("reader", "Directory Reader", {"Directory", ""}, {"Reader", ""}, 19999, kFirstGid));
    for (unsigned index = 0; index < options.users; ++index)
        take(User(index, options.full));
    for (unsigned index = 0; index < kDepartments.size(); ++index)
        take(Department(index, options.users));
    take(LargestGroup());
    take(Group("nobody in it", 39998).Add("description", "a group without members"));

    take(Container(kSpecimenBase));
    for (const LdifEntry &entry : ValueSpecimens())
        take(entry);
    for (const LdifEntry &entry : NameSpecimens())
        take(entry);
    const std::string unit = UnderBase("ou=Größe\\, Süd \\+ Nord", kSpecimenBase);
    take(LdifEntry(unit).Add("objectClass", "organizationalUnit").Add("ou", "Größe, Süd + Nord"));
    take(LdifEntry("cn=below," + unit).Add("objectClass", "organizationalRole").Add("cn", "below"));

    take(Container(kApplianceBase));
    for (const char *rdn : {"cn=users", "cn=groups", "cn=zafoconf"}) {
        take(Container(UnderBase(rdn, kApplianceBase)));
    }
}

void SecondTree(const std::function<void(const LdifEntry &)> &take) {
    take(Container(kExampleSecondBase).Add("description", "The second tree"));
    take(Container(UnderBase("ou=people", kExampleSecondBase)));
    for (unsigned index = 0; index < 25; ++index) {
        const std::string name = FullName(index * 7);
        take(LdifEntry(UnderBase("cn=" + name + ",ou=people", kExampleSecondBase))
                 .Add("objectClass", "inetOrgPerson")
                 .Add("cn", name)
                 .Add("sn", Surname(index * 7).text));
    }
    take(Container(kAppleBase));
    take(Container(UnderBase("cn=config", kAppleBase)));
    take(Container(UnderBase("ou=macosxodconfig,cn=config", kAppleBase)));
    take(Container(kBothMarkersBase));
    take(Container(UnderBase("cn=zafoconf", kBothMarkersBase)));
    take(Container(UnderBase("ou=macosxodconfig", kBothMarkersBase)));
}

}  // namespace

std::string ExampleLogin(unsigned index) {
    return std::string(GivenName(index).login) + "." + Surname(index).login + std::to_string(index);
}

void ForEachExampleEntry(const ExampleOptions &options,
                         const std::function<void(const LdifEntry &)> &take) {
    FirstTree(options, take);
    SecondTree(take);
}

std::vector<LdifEntry> ExampleEntries(const ExampleOptions &options) {
    std::vector<LdifEntry> entries;
    ForEachExampleEntry(options, [&entries](const LdifEntry &entry) { entries.push_back(entry); });
    return entries;
}

}  // namespace zafo::rig
