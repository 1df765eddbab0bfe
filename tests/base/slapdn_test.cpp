// SPDX-License-Identifier: Apache-2.0
//
// Comparison with slapdn(8C): which DNs it accepts, which it considers equal, and what it reads
// from them. The DNs are random, but the same in every run.
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "base/ascii.h"
#include "base/dn.h"
#include "tests/rig/running_tool.h"

namespace zafo::slapdn_test {
namespace {

constexpr const char *kSlapdn = "/usr/sbin/slapdn";
constexpr const char *kSchema = "/etc/ldap/schema/core.schema";
constexpr int kNames = 5000;
constexpr int kSpellings = 2;
constexpr int kRefused = 100;  // slapdn stops at the first one, so each needs its own process
constexpr size_t kBatch = 500;

// Case-insensitive attributes, with their alternative spellings.
constexpr std::array<std::array<const char *, 3>, 6> kAttributes = {{
    {"cn", "commonName", "2.5.4.3"},
    {"ou", "organizationalUnitName", "2.5.4.11"},
    {"o", "organizationName", "2.5.4.10"},
    {"l", "localityName", "2.5.4.7"},
    {"uid", "userid", "0.9.2342.19200300.100.1.1"},
    {"dc", "domainComponent", "0.9.2342.19200300.100.1.25"},
}};
constexpr size_t kDc = 5;  // ASCII only

struct Pair {
    size_t attribute;
    std::string value;
};
using Name = std::vector<std::vector<Pair>>;  // RDNs

class Dice {
  public:
    size_t Below(size_t n) { return engine_() % n; }
    bool OneIn(size_t n) { return Below(n) == 0; }

    template <typename Range>
    auto Of(const Range &range) {
        return range[Below(std::size(range))];
    }

  private:
    std::mt19937 engine_{20260514};
};

std::string RandomValue(Dice &dice, bool ascii) {
    constexpr std::array<const char *, 25> kParts = {
        "a", "A",  "b",  "B", "f", "0", "4",  "9",  "-", ".", "_", "/", " ",
        " ", "  ", "\t", ",", ";", "+", "\"", "\\", "<", ">", "=", "#"};
    std::string value;
    for (size_t i = dice.Below(6) + 1; i > 0; --i)
        value += !ascii && dice.OneIn(8) ? "\xE6\x97\xA5" : dice.Of(kParts);
    // slapd refuses blank ASCII values.
    return ascii && value.find_first_not_of(' ') == value.npos ? value + "x" : value;
}

Name RandomName(Dice &dice) {
    Name name(dice.Below(4) + 1);
    for (std::vector<Pair> &rdn : name) {
        std::set<size_t> used;
        for (size_t i = dice.OneIn(4) ? 2 + dice.Below(2) : 1; i > 0; --i) {
            const size_t attribute = dice.Below(kAttributes.size());
            if (used.insert(attribute).second)
                rdn.push_back({attribute, RandomValue(dice, attribute == kDc)});
        }
    }
    return name;
}

std::string Blanks(Dice &dice) {
    constexpr std::array<const char *, 9> kBlanks = {"", "", "", "", "", " ", "  ", "\t", "\n "};
    return dice.Of(kBlanks);
}

// Random upper and lower case; blanks inside a value are sometimes doubled.
std::string Varied(Dice &dice, std::string_view text) {
    std::string varied;
    for (const char c : text) {
        varied += dice.OneIn(2) && c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        if (c == ' ' && dice.OneIn(2)) varied += ' ';
    }
    return varied;
}

std::string SpelledValue(Dice &dice, const std::string &value) {
    if (dice.OneIn(4)) {
        std::string quoted = "\"";
        for (const char c : value)
            quoted.append(c == '"' || c == '\\' ? "\\" : "") += c;
        return quoted + '"';
    }
    // slapd takes a blank after "\\\\" for an escaped one.
    if (dice.OneIn(2) && !value.ends_with('\\')) return EscapedForDn(value);
    std::string escaped;
    for (size_t i = 0; i < value.size(); ++i) {
        const bool edge = i == 0 || i + 1 == value.size();
        const bool must =
            std::string_view("\"+,;<>\\").find(value[i]) != std::string_view::npos ||
            (edge && std::string_view(" \t#").find(value[i]) != std::string_view::npos);
        if (must || dice.OneIn(4)) {
            escaped += '\\';
            AppendHex(&escaped, value[i]);
        } else {
            escaped += value[i];
        }
    }
    return escaped;
}

std::string Spelled(Dice &dice, const Name &name) {
    std::string text;
    for (const std::vector<Pair> &rdn : name) {
        if (!text.empty()) text += Blanks(dice) + (dice.OneIn(5) ? ";" : ",");
        for (const Pair &pair : rdn) {
            if (&pair != rdn.data()) text += Blanks(dice) + "+";
            text += Blanks(dice) + Varied(dice, dice.Of(kAttributes[pair.attribute])) +
                    Blanks(dice) + "=" + Blanks(dice) + SpelledValue(dice, pair.value);
        }
    }
    return text + Blanks(dice);
}

// The same DN with small changes, some significant and some not.
Name Neighbour(Dice &dice, Name name) {
    std::vector<Pair> &rdn = name[dice.Below(name.size())];
    Pair &pair = rdn[dice.Below(rdn.size())];
    pair.value = dice.OneIn(3) ? RandomValue(dice, true) : Varied(dice, pair.value);
    std::rotate(rdn.begin(), rdn.begin() + 1, rdn.end());
    return name;
}

struct Verdict {
    std::string normalized;
    std::string pretty;
};

class SlapDn : public testing::Test {
  protected:
    void SetUp() override {
        if (access(kSlapdn, X_OK) != 0 || access(kSchema, R_OK) != 0)
            GTEST_SKIP() << "slapd and its schema are not installed";
        std::ofstream(configuration_) << "include " << kSchema << "\n";
    }
    void TearDown() override { std::filesystem::remove(configuration_); }

    rig::ToolOutcome Run(std::vector<std::string> dns) const {
        dns.insert(dns.begin(), {kSlapdn, "-f", configuration_});
        return rig::RunTool(std::move(dns));
    }

    // slapdn's verdicts; a refused DN is a test failure and ends them.
    std::vector<Verdict> Judge(const std::vector<std::string> &dns) const {
        const std::string output = Run(dns).output;
        std::vector<Verdict> verdicts;
        size_t at = 0;
        const auto between = [&](std::string_view begin) {
            at = std::min(output.find(begin, at), output.size());
            const size_t from = std::min(at + begin.size(), output.size());
            at = std::min(output.find(">\n", from), output.size());
            return output.substr(from, at - from);
        };
        for (;;) {
            Verdict verdict;
            verdict.normalized = between("\nnormalized: <");
            verdict.pretty = between("\npretty:     <");
            if (at == output.size()) break;
            verdicts.push_back(std::move(verdict));
        }
        if (verdicts.size() < dns.size())
            ADD_FAILURE() << "slapd refuses: " << dns[verdicts.size()] << "\n"
                          << output.substr(0, 200);
        return verdicts;
    }

    std::string configuration_ = "/tmp/slapdn_test.conf";
};

std::vector<std::string> ValuesOf(std::string_view dn) {
    std::multiset<std::string> values;
    for (const Rdn &rdn : ParseDn(dn).value_or(std::vector<Rdn>())) {
        for (const DnPair &pair : rdn.pairs)
            values.insert(pair.Value());
    }
    return {values.begin(), values.end()};
}

TEST_F(SlapDn, TakesTheSameTextsForTheSameNames) {
    Dice dice;
    std::vector<std::string> dns;
    for (int i = 0; i < kNames; ++i) {
        const Name name = RandomName(dice);
        dns.push_back(Spelled(dice, name));
        for (int j = 1; j < kSpellings; ++j)
            dns.push_back(Spelled(dice, Neighbour(dice, name)));
    }
    std::map<std::string, std::string> of_slapd, of_ours;
    int same = 0;
    for (size_t begin = 0; begin < dns.size(); begin += kBatch) {
        const std::vector<std::string> batch(dns.begin() + static_cast<long>(begin),
                                             dns.begin() + static_cast<long>(begin + kBatch));
        const std::vector<Verdict> verdicts = Judge(batch);
        for (size_t i = 0; i < verdicts.size(); ++i) {
            const std::string comparable = ComparableDn(batch[i]);
            ASSERT_NE(comparable, "") << batch[i];
            ASSERT_EQ(ValuesOf(verdicts[i].pretty), ValuesOf(batch[i])) << batch[i];
            const auto [slapds, is_new] = of_slapd.try_emplace(verdicts[i].normalized, comparable);
            const auto ours = of_ours.try_emplace(comparable, verdicts[i].normalized).first;
            ASSERT_EQ(slapds->second, comparable) << batch[i];
            ASSERT_EQ(ours->second, verdicts[i].normalized) << batch[i];
            ASSERT_EQ(ComparableDn(verdicts[i].pretty), comparable) << batch[i];
            same += is_new ? 0 : 1;
        }
    }
    // The random choice must produce enough of each kind.
    EXPECT_GT(same, kNames / 3);
    EXPECT_GT(of_slapd.size(), static_cast<size_t>(kNames));
}

// Cases governed by rules beyond the grammar, or in which slapd is known to differ: names that are
// not in its schema, repeated attributes in an RDN, empty and blank values, BER, UTF-8, options,
// escapes within quotes, and white space other than " ".
bool IsForOthers(const std::string &dn) {
    DnError error{};
    const auto rdns = ParseDn(dn, &error);
    if (!rdns) {
        const bool quoted_escape = dn.find('"') != dn.npos && dn.find('\\') != dn.npos;
        const std::string rest = dn.substr(error.position, 2);
        return quoted_escape || rest.starts_with(';') || rest == "\\\t" || rest == "\\\n";
    }
    for (const Rdn &rdn : *rdns) {
        std::set<size_t> used;
        for (const DnPair &pair : rdn.pairs) {
            size_t i = 0;
            while (i < kAttributes.size() && !pair.Is(kAttributes[i][0]))
                ++i;
            const std::string value = pair.Value();
            const bool ascii =
                std::ranges::all_of(value, [](char c) { return c >= ' ' || c == '\t'; });
            const bool blank = value.find_first_not_of(' ') == value.npos;
            const bool quoted_escape =
                pair.written.starts_with('"') && pair.written.find('\\') != std::string_view::npos;
            if (i == kAttributes.size() || !used.insert(i).second || blank || !ascii ||
                quoted_escape || pair.written.starts_with('#'))
                return true;
        }
    }
    return false;
}

TEST_F(SlapDn, RefusesTheSameTexts) {
    Dice dice;
    std::vector<std::string> accepted;
    for (int refused = 0; refused < kRefused;) {
        std::string dn = Spelled(dice, RandomName(dice));
        const size_t at = dice.Below(dn.size());
        if (dice.OneIn(2)) {
            dn.erase(at, 1);
        } else {
            dn.insert(at, 1, dice.Of(std::string_view(" ,;+\"\\<>=#a0")));
        }
        if (IsForOthers(dn)) continue;
        if (ParseDn(dn)) {
            accepted.push_back(dn);
            continue;
        }
        ++refused;
        EXPECT_NE(Run({dn}).output.find("check failed"), std::string::npos) << dn;
    }
    Judge(accepted);
    EXPECT_GT(accepted.size(), static_cast<size_t>(kRefused) / 4);
}

}  // namespace
}  // namespace zafo::slapdn_test
