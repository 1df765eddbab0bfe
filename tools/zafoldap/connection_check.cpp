// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/connection_check.h"

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <memory>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "platform/ldap.h"
#include "tools/cli/certificate.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldap/account_kind.h"

namespace zafo::cli {

namespace {

constexpr int kConnectMilliseconds = 5000;
constexpr long kWarnDays = 14;
constexpr std::time_t kDay = 24 * 3600;

struct ClassRow {
    unsigned int bit;
    std::string_view name;
};

constexpr ClassRow kClasses[] = {
    {ZAFOLDAP_CLASS_POSIX_ACCOUNT, "posixAccount"},
    {ZAFOLDAP_CLASS_POSIX_GROUP, "posixGroup"},
    {ZAFOLDAP_CLASS_SHADOW_ACCOUNT, "shadowAccount"},
    {ZAFOLDAP_CLASS_INET_ORG_PERSON, "inetOrgPerson"},
    {ZAFOLDAP_CLASS_EXTENSIBLE_OBJECT, "extensibleObject"},
    {ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT, "sambaSamAccount"},
    {ZAFOLDAP_CLASS_SAMBA_GROUP_MAPPING, "sambaGroupMapping"},
    {ZAFOLDAP_CLASS_APPLE_USER, "apple-user"},
    {ZAFOLDAP_CLASS_APPLE_GROUP, "apple-group"},
};

using Addresses = std::unique_ptr<addrinfo, void (*)(addrinfo *)>;

// The addresses of a server, or the resolver's error.
Addresses Resolve(const ServerAddress &server, int port, std::string &reason) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *list = nullptr;
    const int code =
        getaddrinfo(server.BareHost().c_str(), std::to_string(port).c_str(), &hints, &list);
    if (code != 0) reason = code == EAI_SYSTEM ? std::strerror(errno) : gai_strerror(code);
    return {code == 0 ? list : nullptr, freeaddrinfo};
}

std::string Numeric(const addrinfo &address) {
    std::array<char, NI_MAXHOST> text{};
    getnameinfo(address.ai_addr, address.ai_addrlen, text.data(), text.size(), nullptr, 0,
                NI_NUMERICHOST);
    return text.data();
}

// 0, or the errno of the failed connection.
int TryConnect(const addrinfo &address) {
    const UniqueFd fd(socket(address.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!fd.IsOpen()) return errno;
    if (connect(fd.Get(), address.ai_addr, address.ai_addrlen) == 0) return 0;
    if (errno != EINPROGRESS) return errno;
    pollfd ready{.fd = fd.Get(), .events = POLLOUT, .revents = 0};
    const int n = poll(&ready, 1, kConnectMilliseconds);
    if (n <= 0) return n == 0 ? ETIMEDOUT : errno;
    int code = 0;
    socklen_t size = sizeof code;
    getsockopt(fd.Get(), SOL_SOCKET, SO_ERROR, &code, &size);
    return code;
}

class Checker {
  public:
    Checker(Streams &streams, const Connection &connection, Host host, std::string settings)
        : streams_(streams),
          connection_(connection),
          host_(std::move(host)),
          settings_(std::move(settings)),
          facts_(connection.AsFacts()) {}

    std::optional<Failure> Run(StepPrinter &printer) {
        struct Row {
            const char *name;
            CheckStep (Checker::*check)();
        };
        constexpr Row kRows[] = {
            {"settings", &Checker::Settings}, {"resolve", &Checker::ResolveNames},
            {"connect", &Checker::Connect},   {"tls", &Checker::Tls},
            {"chain", &Checker::Chain},       {"names", &Checker::Names},
            {"bind", &Checker::Bind},         {"base", &Checker::Base},
            {"users", &Checker::Users},       {"schema", &Checker::Schema},
            {"type", &Checker::Type},         {"pool", &Checker::IdPool},
        };
        std::optional<Failure> failed;
        for (const Row &row : kRows) {
            CheckStep step;
            if (failed) {
                step.result = StepResult::kSkipped;
            } else {
                try {
                    step = (this->*row.check)();
                } catch (const Failure &failure) {
                    if (failure.exit_code == 130) throw;
                    step = {.result = StepResult::kFailed,
                            .detail = failure.message,
                            .failure = failure};
                    failed = failure;
                }
            }
            step.step = row.name;
            printer.Print(step);
        }
        return failed;
    }

  private:
    CheckStep Settings() {
        if (connection_.base.empty()) {
            throw OwnFailure(Message::kConnectionIncomplete,
                             {.connection = connection_.name, .subject = "base DN (--base)"});
        }
        return Good(settings_);
    }

    CheckStep ResolveNames() {
        std::string found, reason, missing;
        for (const ServerAddress &server : connection_.servers) {
            const Addresses list = Resolve(server, server.PortFor(connection_.ssl), reason);
            if (list == nullptr) {
                missing = server.host;
                continue;
            }
            found +=
                fmt::format("{}{} is {}", found.empty() ? "" : ", ", server.host, Numeric(*list));
        }
        if (found.empty()) {
            throw OwnFailure(Message::kCheckName, {.subject = missing, .reason = reason});
        }
        if (missing.empty()) return Good(found);
        return Warned(fmt::format("{}; cannot resolve {}: {}", found, missing, reason), {});
    }

    CheckStep Connect() {
        std::string reached, failed, reason;
        for (const ServerAddress &server : connection_.servers) {
            const int port = server.PortFor(connection_.ssl);
            const Addresses list = Resolve(server, port, reason);
            int code = 0;
            bool connected = false;
            for (const addrinfo *at = list.get(); at != nullptr && !connected; at = at->ai_next) {
                code = TryConnect(*at);
                connected = code == 0;
            }
            if (Interrupted()) throw OwnFailure(Message::kInterrupted, facts_);
            if (code != 0) reason = std::strerror(code);
            const std::string place = fmt::format("{} port {}", server.host, port);
            std::string &list_of = connected ? reached : failed;
            list_of += fmt::format("{}{}", list_of.empty() ? "" : ", ", place);
            if (connected && first_reached_ == nullptr) first_reached_ = &server;
        }
        if (reached.empty()) {
            throw OwnFailure(Message::kCheckConnect, {.subject = failed, .reason = reason});
        }
        if (failed.empty()) return Good(reached);
        return Warned(fmt::format("{}; not {}: {}", reached, failed, reason), {});
    }

    CheckStep Tls() {
        if (connection_.ssl == ZAFOLDAP_SSL_OFF) {
            if (connection_.bind_dn.empty()) return Good("off: data is sent in clear text");
            return Warned(
                "off: the password is sent in clear text; zafoldap connection edit NAME --ssl "
                "start_tls encrypts it",
                {});
        }
        const char *how = connection_.ssl == ZAFOLDAP_SSL_LDAPS ? "ldaps" : "StartTLS";
        Connection anonymous = connection_;
        anonymous.bind_dn.clear();
        try {
            ReadRootDse(MakeHost(anonymous, std::nullopt));
        } catch (Failure &failure) {
            if (failure.id == Message::kTlsFailed) {
                const std::string fault = CertificateFault();
                if (!fault.empty())
                    failure.detail += (failure.detail.empty() ? "" : "\n") + OneLine(fault);
                throw;
            }
            // A server that denies anonymous clients read access has still been reached over TLS.
            if (failure.exit_code == 6) throw;
        }
        const CertificateReport *report = Report();
        if (report == nullptr || report->chain.empty()) return Good(how);
        return Good(fmt::format("{}, certificate of {}", how, report->chain.front().subject));
    }

    // What is wrong with the certificate as the LDAP tools see it: openssl accepts the common name
    // even if none of the alternative names is a host's.
    std::string CertificateFault() {
        const CertificateReport *report = Report();
        if (report == nullptr || report->chain.empty()) return {};
        const std::string host = first_reached_->BareHost();
        const auto &names = report->chain.front().names;
        // For "localhost", libldap checks the machine's own name.
        const bool named = !names || host == "localhost" || NamesInclude(*names, host);
        if (report->verdict == "ok" && named) return {};
        std::string fault =
            fmt::format("certificate of {}: {}", report->chain.front().subject,
                        report->verdict == "ok" ? "hostname mismatch" : report->verdict);
        if (!named)
            fault += fmt::format("; it is for {}, not for {}, and its common name does not count",
                                 names->empty() ? "no host" : Joined(*names), host);
        return fault;
    }

    static std::string Joined(const std::vector<std::string> &names) {
        return fmt::format("{}", fmt::join(names, ", "));
    }

    // Who signed whom, and until when; the certificate that expires first decides.
    CheckStep Chain() {
        const CertificateReport *report = Report();
        if (report == nullptr || report->chain.empty()) return Skipped("no certificate to check");
        std::string detail;
        long days = kWarnDays;
        for (const Certificate &certificate : report->chain) {
            detail +=
                fmt::format("{}{}", detail.empty() ? "" : "; signed by ", certificate.subject);
            if (!certificate.ends) continue;
            const auto left = static_cast<long>((*certificate.ends - std::time(nullptr)) / kDay);
            detail +=
                fmt::format(" (until {:%Y-%m-%d}, {} days)", fmt::gmtime(*certificate.ends), left);
            days = std::min(days, left);
        }
        const Certificate &last = report->chain.back();
        if (last.issuer != last.subject) detail += "; signed by " + last.issuer;
        if (days >= kWarnDays) return Good(std::move(detail));
        return Warned(std::move(detail),
                      "renew the certificate before it ends: no client can connect after that");
    }

    CheckStep Names() {
        const CertificateReport *report = Report();
        if (report == nullptr || report->chain.empty()) return Skipped("no certificate to check");
        if (const auto &names = report->chain.front().names) return Good(Joined(*names));
        return Warned(
            "the certificate has no alternative names: it names the server only by its common "
            "name",
            "have it issued with a subjectAltName: other programs refuse a common name (RFC 9525)");
    }

    // The server's certificates, requested once; nullptr: none.
    const CertificateReport *Report() {
        if (connection_.ssl == ZAFOLDAP_SSL_OFF || first_reached_ == nullptr) return nullptr;
        if (!asked_) {
            report_ = AskForCertificate(first_reached_->BareHost(),
                                        first_reached_->PortFor(connection_.ssl),
                                        connection_.ssl == ZAFOLDAP_SSL_START_TLS);
            asked_ = true;
        }
        return report_ ? &*report_ : nullptr;
    }

    CheckStep Bind() {
        ReadRootDse(host_);
        if (connection_.bind_dn.empty()) return Good("anonymous");
        return Good(connection_.bind_dn);
    }

    CheckStep Base() {
        Search search(streams_, host_, ForEntry(connection_.base), facts_);
        if (search.Next() == nullptr) {
            throw LibraryFailure(32, 0, facts_, "the server shows no entry with this DN");
        }
        return Good(connection_.base);
    }

    // One user is enough, so reaching the size limit is not an error.
    CheckStep Users() {
        constexpr int kLimitReached = 4;
        bool found = false;
        try {
            Search search(streams_, host_,
                          {.filter = "(objectClass=posixAccount)",
                           .scope = "sub",
                           .attributes = {"uid"},
                           .size_limit = 1},
                          facts_);
            while (search.Next() != nullptr)
                found = true;
        } catch (const Failure &failure) {
            if (failure.ldap_code != kLimitReached) throw;
        }
        if (found) return Good(fmt::format("can be listed below {}", connection_.base));
        return Warned(
            fmt::format("no entry of the class posixAccount is visible below {}: there is none, or "
                        "the server does not show it to {}",
                        connection_.base,
                        connection_.bind_dn.empty() ? "anonymous clients" : connection_.bind_dn),
            {});
    }

    CheckStep Schema() {
        Ask(streams_, facts_, [&] { return ZAFOLDAPHostGetSupportedSchema(&host_.Record()); });
        std::string names;
        for (const ClassRow &row : kClasses) {
            if ((host_.Record().nSchema & row.bit) == 0) continue;
            names += fmt::format("{}{}", names.empty() ? "" : ", ", row.name);
        }
        for (const ClassRow &row : {kClasses[0], kClasses[1]}) {
            if ((host_.Record().nSchema & row.bit) != 0) continue;
            Facts facts = facts_;
            facts.subject = row.name;
            throw OwnFailure(Message::kCheckSchema, facts);
        }
        return Good(names);
    }

    CheckStep Type() {
        constexpr const char *kTypes[] = {"a general LDAP server", "the appliance's own server",
                                          "an Apple Open Directory server"};
        Ask(streams_, facts_, [&] { return ZAFOLDAPBrowserCheckServerType(&host_.Record()); });
        return Good(kTypes[host_.Record().nServerType]);
    }

    std::uint64_t PoolValue(int type) {
        std::uint64_t value = 0;
        Ask(streams_, facts_,
            [&] { return ZAFOLDAPSambaGetIDFromDB(&host_.Record(), &value, type); });
        return value;
    }

    // The source of the numbers of new accounts.
    CheckStep IdPool() {
        if (host_.Record().nServerType != ZAFOLDAP_SERVER_ZAFO)
            return Good("none: new accounts get the highest number in use plus one");
        std::string detail;
        bool sound = true;
        for (const AccountKind *kind : {&kUserKind, &kGroupKind}) {
            const std::uint64_t lowest = PoolValue(kind->lowest),
                                highest = PoolValue(kind->highest);
            const std::uint64_t next = PoolValue(kind->current);
            sound = sound && lowest < highest && next >= lowest && next <= highest;
            detail += fmt::format("{}{} {} to {}, next {}", detail.empty() ? "" : "; ",
                                  kind->number, lowest, highest, next);
        }
        if (sound) return Good(std::move(detail));
        return Warned(std::move(detail),
                      "these limits make no sense: correct the entries below cn=zafoconf, then run "
                      "zafoldap id check");
    }

    void ReadRootDse(const Host &host) {
        Search search(streams_, host, ForEntry(""), facts_);
        while (search.Next() != nullptr) {
        }
    }

    Streams &streams_;
    const Connection &connection_;
    Host host_;
    std::string settings_;
    Facts facts_;
    const ServerAddress *first_reached_ = nullptr;
    std::optional<CertificateReport> report_;
    bool asked_ = false;
};

}  // namespace

std::optional<Failure> RunChecks(Streams &streams, const Connection &connection, Host host,
                                 const std::string &settings, StepPrinter &printer) {
    return Checker(streams, connection, std::move(host), settings).Run(printer);
}

}  // namespace zafo::cli
