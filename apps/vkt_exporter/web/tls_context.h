// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKT_EXPORTER_WEB_TLS_CONTEXT_H
#define APPS_VKT_EXPORTER_WEB_TLS_CONTEXT_H

#include <gnutls/gnutls.h>

#include <memory>
#include <type_traits>

#include "apps/vkt_exporter/web/web_config.h"

namespace Tulvo::Exporter {

/// Certificate, key and what is asked of clients, as the files had them when they were read.
class TlsContext
{
public:
    /// @throws BadWebConfig
    explicit TlsContext(const TlsConfig& tls);

    /// Sets up a server's session before its handshake. The context outlives the session.
    /// @return whether that worked; memory may have run out.
    bool SetUp(gnutls_session_t session) const;

private:
    struct Free
    {
        void operator()(gnutls_certificate_credentials_t credentials) const
        {
            gnutls_certificate_free_credentials(credentials);
        }
        void operator()(gnutls_priority_t priority) const { gnutls_priority_deinit(priority); }
    };
    template <class Handle>
    using Owned = std::unique_ptr<std::remove_pointer_t<Handle>, Free>;

    Owned<gnutls_certificate_credentials_t> credentials_;
    Owned<gnutls_priority_t> priority_;
    gnutls_certificate_request_t request_;
};

}  // namespace Tulvo::Exporter

#endif
