// SPDX-License-Identifier: Apache-2.0
//
// Predefined searches: all values of a search, all values of an entry, one value, object classes.
#include <cctype>
#include <cstring>
#include <functional>
#include <optional>

#include "tests/foreign/change_fixture.h"

namespace zafo::foreign::search_values_test {

const std::string kAnn = Entry("uid=ann,dc=x", {{"uid", "ann"}, {"mail", "a@x"}});
const std::string kBob = Entry("uid=bob,dc=x", {{"MAIL", "b1@x"}, {"mail", "b2@x"}});
const std::string kCid = Entry("uid=cid,dc=x", {{"uid", "cid"}});

class SearchValues : public ChangeTest {
  protected:
    // The checks shared by all four.
    void ExpectHostChecked(const std::function<int(const ZAFOLDAP_HOST *)> &call) {
        ExpectArgumentFailure("((void *)0) != pHost", [&] { return call(nullptr); });
        Host nowhere;
        nowhere.uri.reset();
        ExpectArgumentFailure("NULL != pHost->szUri", [&] { return call(nowhere); });
    }
    Host host_;
    ZAFOLDAP_SEARCH_REQUEST request_{};
};

class EachValue : public SearchValues {
  protected:
    // A list must be allocated by the platform of its own test.
    void SetUp() override {
        SearchValues::SetUp();
        names_.emplace();
        values_.emplace();
    }
    void TearDown() override {
        names_.reset();
        values_.reset();
        SearchValues::TearDown();
    }
    int Each(const char *attribute) {
        return ZAFOLDAPSearchEachValue(host_, &request_, attribute, &*names_, &*values_);
    }
    std::optional<List> names_;
    std::optional<List> values_;
};
ZAFO_FOREIGN_SUITE(EachValue);

TEST_P(EachValue, ListsNamesAndFirstValuesInParallel) {
    platform().On("ldapsearch").Prints(kAnn + kBob + kCid);
    EXPECT_EQ(Each("mail"), 0);
    EXPECT_EQ(names_->Items(), (Strings{"uid=ann,dc=x", "uid=bob,dc=x", "uid=cid,dc=x"}));
    EXPECT_EQ(values_->Items(), (Strings{"a@x", "b1@x", ""}));
    EXPECT_EQ(Searches(),
              std::vector<Strings>{SearchVector({"-b", "dc=x,dc=example", "dn", "mail"})});
    EXPECT_EQ(platform().Runs().at(0).how, "QLIBCPopenv r");
    EXPECT_EQ(platform().Runs().at(0).path, "/usr/zafo/bin/ldapsearch");
    ExpectSlotsUntouched();
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(EachValue, AsksForNamesOnly) {
    platform().On("ldapsearch").Prints(kAnn + kBob);
    EXPECT_EQ(ZAFOLDAPSearchEachValue(host_, &request_, "dn", &*names_, nullptr), 0);
    EXPECT_EQ(names_->Items(), (Strings{"uid=ann,dc=x", "uid=bob,dc=x"}));
    EXPECT_EQ(Searches(), std::vector<Strings>{SearchVector({"-b", "dc=x,dc=example", "dn"})});
}

TEST_P(EachValue, EmptiesAListOfValuesThatItDoesNotFill) {
    List values{"old"};
    platform().On("ldapsearch").Prints(kAnn);
    EXPECT_EQ(ZAFOLDAPSearchEachValue(host_, &request_, "dn", &*names_, &values), 0);
    EXPECT_EQ(values.Items(), Strings{});
    EXPECT_EQ(names_->Items(), Strings{"uid=ann,dc=x"});
}

TEST_P(EachValue, TakesNoListForNamesOnlyInAnEmptyPointer) {
    QLIBSZLIST *none = nullptr;
    platform().On("ldapsearch").Prints(kAnn);
    EXPECT_EQ(ZAFOLDAPSearchEachValue(host_, &request_, "dn", &*names_, &none), 0);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(names_->Items(), Strings{"uid=ann,dc=x"});
}

TEST_P(EachValue, EmptiesTheListsFirst) {
    List names{"old", "older"};
    List values{"stale"};
    EXPECT_EQ(ZAFOLDAPSearchEachValue(host_, &request_, "mail", &names, &values), 0);
    EXPECT_EQ(names.Items(), Strings{});
    EXPECT_EQ(values.Items(), Strings{});
}

TEST_P(EachValue, FailsWhenAListCannotBeEmptied) {
    for (const int nth : {1, 2}) {
        List names{"old"};
        List values{"stale"};
        platform().Fail("QLIBCSzListRemoveAll", nth);
        EXPECT_EQ(ZAFOLDAPSearchEachValue(host_, &request_, "mail", &names, &values), -1) << nth;
    }
    EXPECT_TRUE(platform().Runs().empty());
}

TEST_P(EachValue, SkipsEntriesWithoutAName) {
    platform().On("ldapsearch").Prints("mail: nobody@x\n\n" + kAnn + "uid: none\n\n" + kBob);
    EXPECT_EQ(Each("mail"), 0);
    EXPECT_EQ(names_->Items(), (Strings{"uid=ann,dc=x", "uid=bob,dc=x"}));
    EXPECT_EQ(values_->Items(), (Strings{"a@x", "b1@x"}));
}

TEST_P(EachValue, UsesTheRequestAndLeavesItAsItIs) {
    List attributes{"cn", "sn"};
    request_.szBase = "cn=users";
    request_.szFilter = "(objectClass=posixAccount)";
    request_.szScope = "sub";
    request_.nSizeLimit = 50;
    request_.nOffset = 1;
    request_.nCount = 1;
    request_.plistAttr = attributes;
    const ZAFOLDAP_SEARCH_REQUEST before = request_;
    platform().On("ldapsearch").Prints(kAnn + kBob + kCid);
    EXPECT_EQ(Each("mail"), 0);
    EXPECT_EQ(names_->Items(), Strings{"uid=bob,dc=x"});
    EXPECT_EQ(values_->Items(), Strings{"b1@x"});
    EXPECT_EQ(Searches(), std::vector<Strings>{
                              SearchVector({"-b", "cn=users,dc=x,dc=example", "-z", "50", "-s",
                                            "sub", "(objectClass=posixAccount)", "dn", "mail"})});
    EXPECT_EQ(request_.szBase, before.szBase);
    EXPECT_EQ(request_.szFilter, before.szFilter);
    EXPECT_EQ(request_.szScope, before.szScope);
    EXPECT_EQ(request_.plistAttr, before.plistAttr);
    EXPECT_EQ(request_.nOffset, 1);
    EXPECT_EQ(request_.nCount, 1);
    EXPECT_EQ(request_.nSizeLimit, 50);
    EXPECT_EQ(attributes.Items(), (Strings{"cn", "sn"}));
}

TEST_P(EachValue, ComparesDnInLetters) {
    platform().On("ldapsearch").Prints(kAnn);
    EXPECT_EQ(Each("DN"), 0);
    EXPECT_EQ(names_->Items(), Strings{"uid=ann,dc=x"});
    EXPECT_EQ(values_->Items(), Strings{"uid=ann,dc=x"});
    EXPECT_EQ(Searches(),
              std::vector<Strings>{SearchVector({"-b", "dc=x,dc=example", "dn", "DN"})});
}

TEST_P(EachValue, GivesWhatCameBeforeAFailure) {
    platform().On("ldapsearch").Prints(kAnn + kBob).Exits(4);
    EXPECT_EQ(Each("mail"), -1);
    EXPECT_EQ(LibraryError(), 4);
    EXPECT_EQ(names_->Items(), (Strings{"uid=ann,dc=x", "uid=bob,dc=x"}));
    EXPECT_EQ(values_->Items(), (Strings{"a@x", "b1@x"}));
}

TEST_P(EachValue, ReportsThatTheToolCannotBeStarted) {
    platform().On("ldapsearch").CannotStart(0x4321);
    EXPECT_EQ(Each("mail"), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(names_->Items(), Strings{});
}

TEST_P(EachValue, StopsWhenANameCannotBeListed) {
    platform().On("ldapsearch").Prints(kAnn + kBob).Always();
    platform().Forget();
    ASSERT_EQ(Each("mail"), 0);
    const int number = NumberOfCall("QLIBCSzListPush", "uid=bob,dc=x");
    platform().Forget();
    platform().Fail("QLIBCSzListPush", number, -1, 0x0200);
    EXPECT_EQ(Each("mail"), -1);
    EXPECT_EQ(names_->Items(), Strings{"uid=ann,dc=x"});
    EXPECT_EQ(values_->Items(), Strings{"a@x"});
}

TEST_P(EachValue, TakesANameBackWhoseValueCannotBeListed) {
    platform().On("ldapsearch").Prints(kAnn + kBob).Always();
    platform().Forget();
    ASSERT_EQ(Each("mail"), 0);
    const int number = NumberOfCall("QLIBCSzListPush", "b1@x");
    platform().Forget();
    platform().Fail("QLIBCSzListPush", number, -1, 0x0200);
    EXPECT_EQ(Each("mail"), -1);
    EXPECT_EQ(names_->Items(), Strings{"uid=ann,dc=x"});
    EXPECT_EQ(values_->Items(), Strings{"a@x"});
}

TEST_P(EachValue, FailsWhenItsOwnListCannotBeMade) {
    platform().Fail("QLIBCSzListAlloc", 1, -1, 0x0200);
    EXPECT_EQ(Each("mail"), -1);
    EXPECT_EQ(platform().Runs().size(), 0U);
}

TEST_P(EachValue, ChecksItsArgumentsInOrder) {
    QLIBSZLIST *none = nullptr;
    ExpectHostChecked([](const ZAFOLDAP_HOST *host) {
        return ZAFOLDAPSearchEachValue(host, nullptr, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("((void *)0) != pRequest", [&] {
        return ZAFOLDAPSearchEachValue(host_, nullptr, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("((void *)0) != szAttr", [&] {
        return ZAFOLDAPSearchEachValue(host_, &request_, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("((void *)0) != pplistDN", [&] {
        return ZAFOLDAPSearchEachValue(host_, &request_, "cn", nullptr, nullptr);
    });
    ExpectArgumentFailure("NULL != *pplistDN", [&] {
        return ZAFOLDAPSearchEachValue(host_, &request_, "cn", &none, nullptr);
    });
    ExpectArgumentFailure("NULL != *pplistDN", [&] {
        return ZAFOLDAPSearchEachValue(host_, &request_, "dn", &none, nullptr);
    });
    for (const char *name : {"cn", "DN", "dN", "dn "}) {
        ExpectArgumentFailure("((void *)0) != pplistValue", [&] {
            return ZAFOLDAPSearchEachValue(host_, &request_, name, &*names_, nullptr);
        });
        ExpectArgumentFailure("NULL != *pplistValue", [&] {
            return ZAFOLDAPSearchEachValue(host_, &request_, name, &*names_, &none);
        });
    }
}

class MultiValue : public SearchValues {
  protected:
    void SetUp() override {
        SearchValues::SetUp();
        values_.emplace(std::initializer_list<const char *>{"old"});
    }
    void TearDown() override {
        values_.reset();
        SearchValues::TearDown();
    }
    int Multi(const char *attribute) {
        return ZAFOLDAPSearchMultiValue(host_, &request_, attribute, &*values_);
    }
    std::optional<List> values_;
};
ZAFO_FOREIGN_SUITE(MultiValue);

TEST_P(MultiValue, ListsTheValuesOfTheFirstEntryOnly) {
    platform().On("ldapsearch").Prints(kBob + kAnn + kCid);
    EXPECT_EQ(Multi("Mail"), 0);
    EXPECT_EQ(values_->Items(), (Strings{"b1@x", "b2@x"}));
    EXPECT_EQ(Searches(), std::vector<Strings>{SearchVector({"-b", "dc=x,dc=example", "Mail"})});
    EXPECT_TRUE(platform().Runs().at(0).closed);
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(MultiValue, LooksAtNoLaterEntryWhenTheFirstHasNone) {
    platform().On("ldapsearch").Prints(kCid + kAnn);
    EXPECT_EQ(Multi("mail"), 0);
    EXPECT_EQ(values_->Items(), Strings{});
}

TEST_P(MultiValue, IsEmptyWithoutEntries) {
    EXPECT_EQ(Multi("mail"), 0);
    EXPECT_EQ(values_->Items(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(MultiValue, SucceedsWithAnEntryWhateverTheToolEndsWith) {
    platform().On("ldapsearch").Prints(kAnn).Exits(4);
    EXPECT_EQ(Multi("mail"), 0);
    EXPECT_EQ(values_->Items(), Strings{"a@x"});
    platform().On("ldapsearch").Prints(kAnn).Dies(13);
    EXPECT_EQ(Multi("mail"), 0);
    EXPECT_EQ(values_->Items(), Strings{"a@x"});
}

TEST_P(MultiValue, FailsWithTheTool) {
    platform().On("ldapsearch").Exits(32);
    EXPECT_EQ(Multi("mail"), -1);
    EXPECT_EQ(LibraryError(), 32);
    Stale();
    platform().On("ldapsearch").Dies(9);
    EXPECT_EQ(Multi("mail"), -1);
    ExpectSlotsUntouched();
    platform().On("ldapsearch").CannotStart();
    EXPECT_EQ(Multi("mail"), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
}

TEST_P(MultiValue, DecodesBase64) {
    const std::string text = "z\xc3\xbcrich " + std::string(1500, 'q');
    platform()
        .On("ldapsearch")
        .Prints("dn: dc=x\nl:: " + Base64(text) + "\nL:: " + Base64("b") + "\n\n");
    EXPECT_EQ(Multi("l"), 0);
    EXPECT_EQ(values_->Items(), (Strings{text, "b"}));
}

TEST_P(MultiValue, UsesTheRequestAndLeavesItAsItIs) {
    List attributes{"cn"};
    request_.szBase = "dc=whole";
    request_.blBaseAsIs = 1;
    request_.szFilter = "cn=*";
    request_.plistAttr = attributes;
    EXPECT_EQ(Multi("mail"), 0);
    EXPECT_EQ(Searches(), std::vector<Strings>{SearchVector({"-b", "dc=whole", "cn=*", "mail"})});
    EXPECT_EQ(request_.plistAttr, attributes);
    EXPECT_EQ(attributes.Items(), Strings{"cn"});
}

TEST_P(MultiValue, FailsWhenAValueCannotBeListed) {
    platform().On("ldapsearch").Prints(kBob).Always();
    platform().Forget();
    ASSERT_EQ(Multi("mail"), 0);
    const int number = NumberOfCall("QLIBCSzListPush", "b2@x");
    platform().Forget();
    platform().Fail("QLIBCSzListPush", number, -1, 0x0200);
    EXPECT_EQ(Multi("mail"), -1);
    EXPECT_EQ(values_->Items(), Strings{});
}

TEST_P(MultiValue, FailsWhenTheListCannotBeEmptied) {
    platform().Fail("QLIBCSzListRemoveAll");
    EXPECT_EQ(Multi("mail"), -1);
    EXPECT_TRUE(platform().Runs().empty());
}

TEST_P(MultiValue, ChecksItsArgumentsInOrder) {
    QLIBSZLIST *none = nullptr;
    ExpectHostChecked([](const ZAFOLDAP_HOST *host) {
        return ZAFOLDAPSearchMultiValue(host, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("((void *)0) != pRequest", [&] {
        return ZAFOLDAPSearchMultiValue(host_, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("((void *)0) != szAttr", [&] {
        return ZAFOLDAPSearchMultiValue(host_, &request_, nullptr, nullptr);
    });
    ExpectArgumentFailure("((void *)0) != pplistValue", [&] {
        return ZAFOLDAPSearchMultiValue(host_, &request_, "cn", nullptr);
    });
    ExpectArgumentFailure("NULL != *pplistValue",
                          [&] { return ZAFOLDAPSearchMultiValue(host_, &request_, "cn", &none); });
}

class ValueByDN : public SearchValues {
  protected:
    int Get(const char *filter, size_t size) {
        return ZAFOLDAPSearchGetValueByDN(host_, "uid=bob,dc=x", filter, "mail", value_, size);
    }
    char value_[64] = "before";
};
ZAFO_FOREIGN_SUITE(ValueByDN);

TEST_P(ValueByDN, CopiesTheFirstAndCountsAll) {
    platform().On("ldapsearch").Prints(kBob + kAnn);
    EXPECT_EQ(Get(nullptr, sizeof value_), 2);
    EXPECT_STREQ(value_, "b1@x");
    platform().On("ldapsearch").Prints(kAnn);
    EXPECT_EQ(Get("(mail=*)", sizeof value_), 1);
    EXPECT_STREQ(value_, "a@x");
    EXPECT_EQ(Searches(),
              (std::vector<Strings>{SearchVector({"-b", "uid=bob,dc=x", "mail"}),
                                    SearchVector({"-b", "uid=bob,dc=x", "(mail=*)", "mail"})}));
}

TEST_P(ValueByDN, GivesTheEmptyTextWithoutAValueOrAnEntry) {
    platform().On("ldapsearch").Prints(kCid);
    EXPECT_EQ(Get(nullptr, sizeof value_), 0);
    EXPECT_STREQ(value_, "");
    strcpy(value_, "before");
    EXPECT_EQ(Get(nullptr, sizeof value_), 0);
    EXPECT_STREQ(value_, "");
}

TEST_P(ValueByDN, DistinguishesAnEmptyValueFromNone) {
    platform().On("ldapsearch").Prints("dn: uid=bob,dc=x\nmail:\n\n");
    EXPECT_EQ(Get(nullptr, sizeof value_), 1);
    EXPECT_STREQ(value_, "");
}

TEST_P(ValueByDN, AsksTheEmptyNameToo) {
    EXPECT_EQ(ZAFOLDAPSearchGetValueByDN(host_, "", "", "cn", value_, sizeof value_), 0);
    EXPECT_EQ(Searches(), std::vector<Strings>{SearchVector({"-b", "", "", "cn"})});
}

TEST_P(ValueByDN, CutsToTheBuffer) {
    platform().On("ldapsearch").Prints(kBob).Always();
    EXPECT_EQ(Get(nullptr, 1), 2);
    EXPECT_STREQ(value_, "");
    EXPECT_EQ(value_[1], 'e');
    EXPECT_EQ(Get(nullptr, 3), 2);
    EXPECT_STREQ(value_, "b1");
    EXPECT_EQ(value_[3], 'o');
    EXPECT_EQ(Get(nullptr, 5), 2);
    EXPECT_STREQ(value_, "b1@x");
}

TEST_P(ValueByDN, FailsWithTheSearch) {
    platform().On("ldapsearch").Exits(32);
    EXPECT_EQ(Get(nullptr, sizeof value_), -1);
    EXPECT_EQ(LibraryError(), 32);
    EXPECT_EQ(PlatformError(), kStalePlatformError);
    platform().On("ldapsearch").CannotStart();
    EXPECT_EQ(Get(nullptr, sizeof value_), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
}

TEST_P(ValueByDN, FailsWhenAListCannotBeMade) {
    for (int nth = 1; nth <= 2; ++nth) {
        platform().Fail("QLIBCSzListAlloc", nth, -1, 0x0200);
        EXPECT_EQ(Get(nullptr, sizeof value_), -1) << nth;
        EXPECT_EQ(platform().Runs().size(), 0U) << nth;
    }
}

TEST_P(ValueByDN, ChecksItsArgumentsInOrder) {
    ExpectHostChecked([](const ZAFOLDAP_HOST *host) {
        return ZAFOLDAPSearchGetValueByDN(host, nullptr, nullptr, nullptr, nullptr, 0);
    });
    ExpectArgumentFailure("((void *)0) != szDN", [&] {
        return ZAFOLDAPSearchGetValueByDN(host_, nullptr, nullptr, nullptr, nullptr, 0);
    });
    ExpectArgumentFailure("((void *)0) != szAttr", [&] {
        return ZAFOLDAPSearchGetValueByDN(host_, "dc=x", nullptr, nullptr, nullptr, 0);
    });
    ExpectArgumentFailure("((void *)0) != szValue", [&] {
        return ZAFOLDAPSearchGetValueByDN(host_, "dc=x", nullptr, "cn", nullptr, 0);
    });
    ExpectArgumentFailure("0 < cbValue", [&] {
        return ZAFOLDAPSearchGetValueByDN(host_, "dc=x", nullptr, "cn", value_, 0);
    });
    EXPECT_STREQ(value_, "before");
}

class ObjectClasses : public SearchValues {
  protected:
    unsigned ClassesOf(const std::vector<std::pair<std::string, std::string>> &attributes) {
        platform().On("ldapsearch").Prints(Entry("cn=a,dc=x", attributes) + kAnn);
        unsigned schema = 0xffffffff;
        EXPECT_EQ(ZAFOLDAPSearchObjectClasses(host_, "cn=a,dc=x", nullptr, &schema), 0);
        return schema;
    }
};
ZAFO_FOREIGN_SUITE(ObjectClasses);

TEST_P(ObjectClasses, KnowsEveryClassInAnyCase) {
    unsigned all = 0;
    std::vector<std::pair<std::string, std::string>> attributes;
    for (const auto &[name, bit] : kSchemaClasses) {
        std::string upper = name;
        for (char &letter : upper)
            letter = static_cast<char>(toupper(letter));
        EXPECT_EQ(ClassesOf({{"objectClass", name}}), bit) << name;
        EXPECT_EQ(ClassesOf({{"OBJECTCLASS", upper}}), bit) << upper;
        EXPECT_EQ(ClassesOf({{"objectClass", std::string("x") + name}}), 0U) << name;
        EXPECT_EQ(ClassesOf({{"objectClass", std::string(name) + "x"}}), 0U) << name;
        EXPECT_EQ(ClassesOf({{"structuralObjectClass", name}}), 0U) << name;
        attributes.emplace_back("objectclass", name);
        all |= bit;
    }
    EXPECT_EQ(ClassesOf(attributes), all);
    EXPECT_EQ(all, 0x1fffU);
}

TEST_P(ObjectClasses, JoinsTheClassesOfTheFirstEntry) {
    EXPECT_EQ(ClassesOf({{"objectClass", "top"},
                         {"cn", "sambaSamAccount"},
                         {"objectClass", "PosixAccount"},
                         {"objectClass", "other"},
                         {"objectClass", "shadowaccount"}}),
              0x0121U);
    EXPECT_EQ(ClassesOf({{"cn", "a"}}), 0U);
}

TEST_P(ObjectClasses, AsksForTheClassesAtOrBelowTheName) {
    unsigned schema = 0xffffffff;
    EXPECT_EQ(ZAFOLDAPSearchObjectClasses(host_, "cn=a,dc=x", nullptr, &schema), 0);
    EXPECT_EQ(schema, 0U);
    EXPECT_EQ(ZAFOLDAPSearchObjectClasses(host_, "cn=b", "(cn=*)", &schema), 0);
    EXPECT_EQ(Searches(),
              (std::vector<Strings>{SearchVector({"-b", "cn=a,dc=x", "objectClass"}),
                                    SearchVector({"-b", "cn=b", "(cn=*)", "objectClass"})}));
    ExpectSlotsUntouched();
}

TEST_P(ObjectClasses, FailsWithTheSearchAndHasNoBitThen) {
    unsigned schema = 0xffffffff;
    platform().On("ldapsearch").Exits(50);
    EXPECT_EQ(ZAFOLDAPSearchObjectClasses(host_, "cn=a", nullptr, &schema), -1);
    EXPECT_EQ(LibraryError(), 50);
    EXPECT_EQ(schema, 0U);
    platform().Fail("QLIBCSzListAlloc", 1, -1, 0x0200);
    EXPECT_EQ(ZAFOLDAPSearchObjectClasses(host_, "cn=a", nullptr, &schema), -1);
}

TEST_P(ObjectClasses, ChecksItsArgumentsInOrder) {
    ExpectHostChecked([](const ZAFOLDAP_HOST *host) {
        return ZAFOLDAPSearchObjectClasses(host, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("((void *)0) != szDN", [&] {
        return ZAFOLDAPSearchObjectClasses(host_, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("NULL != pSchema", [&] {
        return ZAFOLDAPSearchObjectClasses(host_, "dc=x", nullptr, nullptr);
    });
}

}  // namespace zafo::foreign::search_values_test
