// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/tls_failure.h"

#include <arpa/inet.h>
#include <openssl/asn1.h>
#include <openssl/evp.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <memory>
#include <string_view>
#include <utility>

#include "common/text/printable.h"
#include "module/vkt/vkt_https/result_tables.h"

namespace Tulvo::Https {
namespace {

// What a certificate says of itself comes from whoever made it.
constexpr std::size_t kLongestName = 100;
constexpr int kMostNames = 5;

std::string Printable(const ASN1_STRING* text)
{
    const std::string_view bytes(reinterpret_cast<const char*>(ASN1_STRING_get0_data(text)),
                                 static_cast<std::size_t>(ASN1_STRING_length(text)));
    return Text::PrintableAscii(bytes, kLongestName);
}

std::string CommonName(const X509_NAME* name)
{
    const int at = X509_NAME_get_index_by_NID(name, NID_commonName, -1);
    const X509_NAME_ENTRY* const entry = at < 0 ? nullptr : X509_NAME_get_entry(name, at);
    return entry == nullptr ? "" : Printable(X509_NAME_ENTRY_get_data(entry));
}

std::string Address(const ASN1_STRING* bytes)
{
    const unsigned char* const address = ASN1_STRING_get0_data(bytes);
    std::array<char, INET6_ADDRSTRLEN> text{};
    const int family = ASN1_STRING_length(bytes) == 4 ? AF_INET : AF_INET6;
    const bool isAddress = family == AF_INET || ASN1_STRING_length(bytes) == 16;
    return isAddress && inet_ntop(family, address, text.data(), text.size()) != nullptr
               ? text.data()
               : "";
}

std::string NameIn(const GENERAL_NAME* name)
{
    int kind = 0;
    const void* const value = GENERAL_NAME_get0_value(name, &kind);
    if (kind == GEN_DNS) {
        return Printable(static_cast<const ASN1_STRING*>(value));
    }
    return kind == GEN_IPADD ? Address(static_cast<const ASN1_STRING*>(value)) : "";
}

void Add(std::string& list, const std::string& name)
{
    if (!name.empty()) {
        list += (list.empty() ? "" : ", ") + name;
    }
}

/// Whom the certificate is for, as a list; empty when it names nobody.
std::string NamesOf(const X509* certificate)
{
    const std::unique_ptr<GENERAL_NAMES, void (*)(GENERAL_NAMES*)> names(
        static_cast<GENERAL_NAMES*>(
            X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)),
        GENERAL_NAMES_free);
    if (!names) {
        return CommonName(X509_get_subject_name(certificate));
    }
    std::string list;
    const int count = sk_GENERAL_NAME_num(names.get());
    for (int index = 0; index < std::min(count, kMostNames); ++index) {
        Add(list, NameIn(sk_GENERAL_NAME_value(names.get(), index)));
    }
    return count > kMostNames ? list + " and " + std::to_string(count - kMostNames) + " more"
                              : list;
}

std::string TimeOf(const ASN1_TIME* time)
{
    std::tm fields = {};
    std::array<char, 64> text{};
    if (ASN1_TIME_to_tm(time, &fields) != 1) {
        return "an unknown date";
    }
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S UTC", &fields)};
}

std::string KeyOf(const X509* certificate)
{
    const EVP_PKEY* const key = X509_get0_pubkey(certificate);
    const char* const kind = key == nullptr ? nullptr : EVP_PKEY_get0_type_name(key);
    return kind == nullptr
               ? "of an unknown kind"
               : std::string(kind) + " of " + std::to_string(EVP_PKEY_get_bits(key)) + " bits";
}

// What is wrong with a certificate, behind its name.

std::string Expired(const X509* certificate)
{
    return " expired on " + TimeOf(X509_get0_notAfter(certificate));
}

std::string NotYetValid(const X509* certificate)
{
    return " is not valid before " + TimeOf(X509_get0_notBefore(certificate));
}

std::string WeakKey(const X509* certificate)
{
    return " has a weak key, " + KeyOf(certificate);
}

std::string WeakDigest(const X509* /*certificate*/)
{
    return " is signed with a weak digest";
}

std::string SelfSigned(const X509* /*certificate*/)
{
    return " is self-signed";
}

std::string UnknownAuthority(const X509* certificate)
{
    const std::string issuer = CommonName(X509_get_issuer_name(certificate));
    return " is signed by an authority that is not trusted here" +
           (issuer.empty() ? "" : ", \"" + issuer + "\"");
}

std::string WrongSignature(const X509* /*certificate*/)
{
    return " is not signed by the authority that it names";
}

struct Fault
{
    int verdict;
    std::string (*what)(const X509* certificate);
    const char* advice;
};

constexpr const char* kRenew = "renew it on the module, and check this host's clock";
constexpr const char* kCheckClocks = "check the clocks of this host and of the module";
constexpr const char* kStronger = "give the module a stronger one";
constexpr const char* kTrustIt =
    "make sure that this is the module; then trust the file of its certificate";
constexpr const char* kTrustAuthority =
    "make sure that this is the module; then trust the file of that authority";
constexpr const char* kInBetween = "someone may be in between; compare its key with the module's";

constexpr std::array kFaults = {
    Fault{X509_V_ERR_CERT_HAS_EXPIRED, Expired, kRenew},
    Fault{X509_V_ERR_CERT_NOT_YET_VALID, NotYetValid, kCheckClocks},
    Fault{X509_V_ERR_EE_KEY_TOO_SMALL, WeakKey, kStronger},
    Fault{X509_V_ERR_CA_KEY_TOO_SMALL, WeakKey, kStronger},
    Fault{X509_V_ERR_CA_MD_TOO_WEAK, WeakDigest, kStronger},
    Fault{X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, SelfSigned, kTrustIt},
    Fault{X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN, UnknownAuthority, kTrustAuthority},
    Fault{X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, UnknownAuthority, kTrustAuthority},
    Fault{X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT, UnknownAuthority, kTrustAuthority},
    Fault{X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE, UnknownAuthority, kTrustAuthority},
    Fault{X509_V_ERR_CERT_SIGNATURE_FAILURE, WrongSignature, kInBetween},
};

const Fault* FaultOf(int verdict)
{
    const auto* const found =
        std::find_if(kFaults.begin(), kFaults.end(),
                     [verdict](const Fault& fault) { return fault.verdict == verdict; });
    return found == kFaults.end() ? nullptr : found;
}

std::string OrPin(const std::string& advice, const std::string& pin)
{
    return advice + (pin.empty() ? "" : ", or pin the server's key, " + pin);
}

std::string Whose(const HandshakeNotes& seen)
{
    if (seen.distrusted == seen.certificate) {
        return "the server's certificate";
    }
    const std::string name = CommonName(X509_get_subject_name(seen.distrusted.get()));
    return "the certificate of its authority" + (name.empty() ? "" : " \"" + name + "\"");
}

std::optional<Tulvo::Failure> ExplainCertificate(const ServerProof& proof, const std::string& host)
{
    const HandshakeNotes& seen = proof.Notes();
    if (seen.distrusted) {
        const Fault* const fault = FaultOf(seen.verdict);
        return fault == nullptr ? std::optional<Tulvo::Failure>()
                                : Tulvo::Failure{Cause::kNotTrusted,
                                                 Whose(seen) + fault->what(seen.distrusted.get()),
                                                 OrPin(fault->advice, proof.Pin()),
                                                 {}};
    }
    if (!seen.certificate) {
        return std::nullopt;
    }
    const std::string names = NamesOf(seen.certificate.get());
    return Tulvo::Failure{Cause::kNotTrusted,
                          "the server's certificate is not for " + host +
                              (names.empty() ? ", and names nobody" : " but for " + names),
                          OrPin(names.empty() ? "give the module one with its name"
                                              : "ask for it by one of its names",
                                proof.Pin()),
                          {}};
}

Tulvo::Failure DemandsCertificate()
{
    return {Cause::kRefused,
            "the server demands a certificate of its client, and none is used here",
            "have the module admit clients without one, or use RMCP+",
            {}};
}

/// Whether OpenSSL found a fault in what came, rather than the system in the connection.
bool IsFromOpenSsl(const std::string& detail)
{
    return detail.find("error:") != detail.npos;
}

Tulvo::Failure EndedHandshake(const Failure& failure)
{
    const bool reset = failure.systemError == ECONNRESET;
    return {Cause::kUnreachable,
            std::string(reset ? "the connection was reset" : "the server closed the connection") +
                " within the TLS handshake",
            "check that this is the module's HTTPS port, and what stands in between",
            {}};
}

Tulvo::Failure SpeaksNoTls(const Failure& failure)
{
    return {Cause::kNoSuchModule,
            Describe(
                {.what = "the server does not agree on TLS 1.2 or newer", .detail = failure.detail},
                {}),
            "check that this is the module's HTTPS port and that it offers TLS 1.2 or newer",
            {}};
}

}  // namespace

std::optional<Tulvo::Failure> ExplainTls(const Failure& failure, const ServerProof& proof,
                                         const std::string& host)
{
    const HandshakeNotes& seen = proof.Notes();
    const bool inHandshake = failure.result == CURLE_SSL_CONNECT_ERROR;
    const bool beforeAnAnswer =
        failure.code == VKT_HTTPS_CONNECT_FAILED && IsBrokenOff(failure.result);
    if (seen.asksForCertificate && (inHandshake || beforeAnAnswer)) {
        return DemandsCertificate();
    }
    if (failure.result == CURLE_PEER_FAILED_VERIFICATION) {
        return ExplainCertificate(proof, host);
    }
    if (!inHandshake) {
        return std::nullopt;
    }
    if (!IsFromOpenSsl(failure.detail)) {
        return EndedHandshake(failure);
    }
    return seen.certificate ? std::nullopt : std::optional(SpeaksNoTls(failure));
}

}  // namespace Tulvo::Https
