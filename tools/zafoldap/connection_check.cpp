// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/connection_check.h"

#include "tools/zafoldap/certificate.h"

#include "platform/ldap.h"

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

namespace zafo::cli {

namespace {

constexpr int kConnectMilliseconds = 5000;
constexpr int kWarnDays = 14;

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

struct AddressDeleter {
    void operator()(addrinfo *list) const { freeaddrinfo(list); }
};
using Addresses = std::unique_ptr<addrinfo, AddressDeleter>;

// The addresses of a server, or the resolver's reason.
Addresses Resolve(const ServerAddress &server, int port, std::string &reason) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *list = nullptr;
    const int code =
        getaddrinfo(server.BareHost().c_str(), std::to_string(port).c_str(), &hints, &list);
    if (code != 0) reason = code == EAI_SYSTEM ? std::strerror(errno) : gai_strerror(code);
    return Addresses(code == 0 ? list : nullptr);
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
    if (!fd) return errno;
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
          facts_(connection.Known()) {}

    std::optional<Failure> Run(const std::function<void(const CheckStep &)> &on_step) {
        struct Row {
            const char *name;
            CheckStep (Checker::*check)();
        };
        constexpr Row kRows[] = {
            {"settings", &Checker::Settings}, {"resolve", &Checker::ResolveNames},
            {"connect", &Checker::Connect},   {"tls", &Checker::Tls},
            {"bind", &Checker::Bind},         {"base", &Checker::Base},
            {"users", &Checker::Users},       {"schema", &Checker::Schema},
            {"type", &Checker::Type},
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
            on_step(step);
        }
        return failed;
    }

  private:
    static CheckStep Ok(std::string detail) { return {.step = {}, .detail = std::move(detail)}; }
    static CheckStep Warning(std::string detail) {
        return {.step = {}, .result = StepResult::kWarning, .detail = std::move(detail)};
    }

    CheckStep Settings() {
        if (connection_.base.empty()) {
            throw OwnFailure("connection_incomplete",
                             {.connection = connection_.name, .subject = "base DN (--base)"});
        }
        return Ok(settings_);
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
            throw OwnFailure("check_name", {.subject = missing, .reason = reason});
        }
        if (missing.empty()) return Ok(found);
        return Warning(fmt::format("{}; {} is not known: {}", found, missing, reason));
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
            if (Interrupted()) throw OwnFailure("interrupted", facts_);
            if (code != 0) reason = std::strerror(code);
            const std::string place = fmt::format("{} port {}", server.host, port);
            std::string &list_of = connected ? reached : failed;
            list_of += fmt::format("{}{}", list_of.empty() ? "" : ", ", place);
            if (connected && first_reached_ == nullptr) first_reached_ = &server;
        }
        if (reached.empty()) {
            throw OwnFailure("check_connect", {.subject = failed, .reason = reason});
        }
        if (failed.empty()) return Ok(reached);
        return Warning(fmt::format("{}; not {}: {}", reached, failed, reason));
    }

    CheckStep Tls() {
        if (connection_.ssl == ZAFOLDAP_SSL_OFF) {
            if (connection_.bind_dn.empty()) return Ok("off: what is read travels in clear text");
            return Warning(
                "off: the password travels in clear text; zafoldap connection edit "
                "NAME --ssl start_tls encrypts it");
        }
        const char *how = connection_.ssl == ZAFOLDAP_SSL_LDAPS ? "ldaps" : "StartTLS";
        Connection anonymous = connection_;
        anonymous.bind_dn.clear();
        try {
            ReadRootDse(MakeHost(anonymous, std::nullopt));
        } catch (Failure &failure) {
            if (failure.key == "tls_failed") {
                if (const auto report = Certificate(); report && report->verdict != "ok") {
                    failure.detail +=
                        fmt::format("{}certificate of {}: {}", failure.detail.empty() ? "" : "\n",
                                    report->subject, report->verdict);
                }
                throw;
            }
            // A server that does not let anonymous clients read has been reached over TLS all the
            // same.
            if (failure.exit_code == 6) throw;
        }
        const std::optional<CertificateReport> report = Certificate();
        if (!report || !report->ends) return Ok(how);
        const auto days = static_cast<long>((*report->ends - std::time(nullptr)) / (24 * 3600));
        std::string detail =
            fmt::format("{}, certificate of {} ends in {} days", how, report->subject, days);
        return days < kWarnDays ? Warning(std::move(detail)) : Ok(std::move(detail));
    }

    std::optional<CertificateReport> Certificate() {
        if (first_reached_ == nullptr) return std::nullopt;
        return AskForCertificate(first_reached_->BareHost(),
                                 first_reached_->PortFor(connection_.ssl),
                                 connection_.ssl == ZAFOLDAP_SSL_START_TLS);
    }

    CheckStep Bind() {
        ReadRootDse(host_);
        if (connection_.bind_dn.empty()) return Ok("anonymous");
        return Ok(connection_.bind_dn);
    }

    CheckStep Base() {
        Search search(
            streams_, host_,
            {.base = connection_.base, .filter = {}, .scope = "base", .attributes = {"1.1"}},
            facts_);
        if (search.Next() == nullptr) {
            throw LibraryFailure(32, 0, facts_, "the server shows no entry with this DN");
        }
        return Ok(connection_.base);
    }

    // One user is enough: the size limit is what ends the search.
    CheckStep Users() {
        constexpr int kSizeLimitExceeded = 4;
        bool found = false;
        try {
            Search search(streams_, host_,
                          {.base = std::nullopt,
                           .filter = "(objectClass=posixAccount)",
                           .scope = "sub",
                           .attributes = {"uid"},
                           .size_limit = 1},
                          facts_);
            while (search.Next() != nullptr)
                found = true;
        } catch (const Failure &failure) {
            if (failure.ldap_code != kSizeLimitExceeded) throw;
        }
        if (found) return Ok(fmt::format("can be listed below {}", connection_.base));
        return Warning(
            fmt::format("no entry of the class posixAccount can be seen below {}: there "
                        "is none, or it is not shown to {}",
                        connection_.base,
                        connection_.bind_dn.empty() ? "anonymous clients" : connection_.bind_dn));
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
            throw OwnFailure("check_schema", facts);
        }
        return Ok(names);
    }

    CheckStep Type() {
        constexpr const char *kTypes[] = {"a general LDAP server", "the appliance's own server",
                                          "an Apple Open Directory server"};
        Ask(streams_, facts_, [&] { return ZAFOLDAPBrowserCheckServerType(&host_.Record()); });
        return Ok(kTypes[host_.Record().nServerType]);
    }

    void ReadRootDse(const Host &host) {
        Search search(streams_, host,
                      {.base = "", .filter = {}, .scope = "base", .attributes = {"1.1"}}, facts_);
        while (search.Next() != nullptr) {
        }
    }

    Streams &streams_;
    const Connection &connection_;
    Host host_;
    std::string settings_;
    Facts facts_;
    const ServerAddress *first_reached_ = nullptr;
};

}  // namespace

std::string_view Name(StepResult result) {
    constexpr std::string_view kNames[] = {"ok", "warning", "failed", "skipped"};
    return kNames[static_cast<int>(result)];
}

std::optional<Failure> RunChecks(Streams &streams, const Connection &connection, Host host,
                                 const std::string &settings,
                                 const std::function<void(const CheckStep &)> &on_step) {
    return Checker(streams, connection, std::move(host), settings).Run(on_step);
}

}  // namespace zafo::cli
