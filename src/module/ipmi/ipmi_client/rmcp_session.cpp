// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/rmcp_session.h"

#include <freeipmi/freeipmi.h>

#include <array>

namespace Tulvo {
namespace {

struct Verdict
{
    int errnum;
    CONNECTIONSTATE state;
    const char* advice;
};

constexpr std::array kVerdicts{
    Verdict{IPMI_ERR_USERNAME_INVALID, CONNECTION_REFUSED, "check the user name"},
    Verdict{IPMI_ERR_PASSWORD_INVALID, CONNECTION_REFUSED, "check the password"},
    Verdict{IPMI_ERR_PRIVILEGE_LEVEL_INSUFFICIENT, CONNECTION_REFUSED, "ask for less privilege"},
    Verdict{IPMI_ERR_PRIVILEGE_LEVEL_CANNOT_BE_OBTAINED, CONNECTION_REFUSED,
            "ask for less privilege or use another user"},
    Verdict{IPMI_ERR_CIPHER_SUITE_ID_UNAVAILABLE, CONNECTION_REFUSED, "use another cipher suite"},
    Verdict{IPMI_ERR_IPMI_ERROR, CONNECTION_REFUSED, "use another cipher suite"},
    Verdict{IPMI_ERR_PASSWORD_VERIFICATION_TIMEOUT, CONNECTION_TRY_AGAIN, "try again"},
    Verdict{IPMI_ERR_CONNECTION_TIMEOUT, CONNECTION_TRY_AGAIN, "check address and port"},
    Verdict{IPMI_ERR_SESSION_TIMEOUT, CONNECTION_TRY_AGAIN, "try again"},
    Verdict{IPMI_ERR_BMC_BUSY, CONNECTION_TRY_AGAIN, "try again later"},
};

Outcome Failure(int errnum)
{
    for (const Verdict& verdict : kVerdicts) {
        if (verdict.errnum == errnum) {
            return {verdict.state, std::string(ipmi_ctx_strerror(errnum)) + "; " + verdict.advice};
        }
    }
    return {CONNECTION_FAILED,
            std::string(ipmi_ctx_strerror(errnum)) + "; check the address and the network"};
}

}  // namespace

Outcome RmcpSession::Open(const Credentials& credentials, const LoginSettings& settings)
{
    const std::string host = credentials.address.find(':') == std::string::npos
                                 ? credentials.address
                                 : "[" + credentials.address + "]";
    const std::string endpoint = host + ":" + std::to_string(settings.port);
    Secret<kLongestPassword + 1> password(
        std::string_view(credentials.password.Data(), credentials.password.Size()));
    context_ = ipmi_ctx_create();
    const int result = ipmi_ctx_open_outofband_2_0(
        context_, endpoint.c_str(), credentials.userName.c_str(), password.Data(), nullptr, 0,
        settings.privilege, settings.cipherSuite,
        static_cast<unsigned>(settings.sessionTimeout.count()),
        static_cast<unsigned>(settings.retransmissionTimeout.count()),
        IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_OPEN_SESSION_PRIVILEGE, IPMI_FLAGS_DEFAULT);
    if (result == 0) {
        return {};
    }
    const Outcome failure = Failure(ipmi_ctx_errnum(context_));
    Close();
    return failure;
}

Outcome RmcpSession::Ask(const IPMICOMMAND& request, Answer& answer)
{
    std::vector<std::uint8_t> out{request.cmd};
    out.insert(out.end(), request.data.begin(), request.data.end());
    std::array<std::uint8_t, 1024> in{};
    const int length =
        ipmi_cmd_raw(context_, 0, request.netFn, out.data(), static_cast<unsigned>(out.size()),
                     in.data(), static_cast<unsigned>(in.size()));
    if (length < 2) {
        return Failure(ipmi_ctx_errnum(context_));
    }
    answer.completionCode = in[1];
    answer.data.assign(in.begin() + 2, in.begin() + length);
    return {};
}

void RmcpSession::Close()
{
    if (context_ != nullptr) {
        ipmi_ctx_close(context_);
        ipmi_ctx_destroy(context_);
        context_ = nullptr;
    }
}

}  // namespace Tulvo
