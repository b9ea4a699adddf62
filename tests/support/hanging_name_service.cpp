// SPDX-License-Identifier: Apache-2.0
#include "tests/support/hanging_name_service.h"

#include <netdb.h>

#include <string>

#include "tests/ipmi_client/loopback.h"

namespace Tulvo {

NameService nameService;

namespace {

struct List
{
    addrinfo entry{};  // first, so that it is the whole
    sockaddr_in address{};
};

}  // namespace
}  // namespace Tulvo

extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints,
                           addrinfo** list)
{
    in_addr number{};
    const bool isNumber = inet_pton(AF_INET, name, &number) == 1;
    if (!isNumber && (hints->ai_flags & AI_NUMERICHOST) != 0) {
        return EAI_NONAME;
    }
    if (!isNumber) {
        Tulvo::nameService.Serve();
    }
    auto* const found = new Tulvo::List;
    const int port = service == nullptr ? 0 : std::stoi(service);
    found->address = Tulvo::Loopback(static_cast<std::uint16_t>(port));
    found->entry.ai_family = AF_INET;
    found->entry.ai_socktype = hints->ai_socktype;
    found->entry.ai_addr = reinterpret_cast<sockaddr*>(&found->address);
    found->entry.ai_addrlen = sizeof found->address;
    *list = &found->entry;
    return 0;
}

extern "C" void freeaddrinfo(addrinfo* list)
{
    delete reinterpret_cast<Tulvo::List*>(list);
}
