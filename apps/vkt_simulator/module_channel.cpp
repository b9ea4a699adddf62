// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/module_channel.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace Tulvo::Simulator {

namespace {

constexpr std::size_t kLongestText = 1024;

// A message of one byte with room for one descriptor beside it.
class DescriptorMessage
{
public:
    DescriptorMessage()
    {
        header_.msg_iov = &part_;
        header_.msg_iovlen = 1;
        header_.msg_control = control_.data();
        header_.msg_controllen = control_.size();
    }
    DescriptorMessage(const DescriptorMessage&) = delete;
    DescriptorMessage& operator=(const DescriptorMessage&) = delete;

    msghdr* Header() { return &header_; }

    void Put(int descriptor)
    {
        cmsghdr* const field = CMSG_FIRSTHDR(&header_);
        field->cmsg_level = SOL_SOCKET;
        field->cmsg_type = SCM_RIGHTS;
        field->cmsg_len = CMSG_LEN(sizeof descriptor);
        std::memcpy(CMSG_DATA(field), &descriptor, sizeof descriptor);
    }
    /// Below 0 when there is none.
    int Take() const
    {
        const cmsghdr* const field = CMSG_FIRSTHDR(&header_);
        int descriptor = -1;
        if (field != nullptr && field->cmsg_type == SCM_RIGHTS) {
            std::memcpy(&descriptor, CMSG_DATA(field), sizeof descriptor);
        }
        return descriptor;
    }

private:
    char byte_ = 0;
    iovec part_ = {&byte_, 1};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control_ = {};
    msghdr header_ = {};
};

}  // namespace

std::pair<FileDescriptor, FileDescriptor> MakeModuleChannel()
{
    std::array<int, 2> ends = {};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a pair of sockets");
    }
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

void SendFile(int channel, const FileDescriptor& file)
{
    DescriptorMessage message;
    message.Put(file.Get());
    if (sendmsg(channel, message.Header(), MSG_NOSIGNAL) < 0) {
        throw std::system_error(errno, std::generic_category(), "ipmi_sim takes no new scenario");
    }
}

std::optional<FileDescriptor> ReceiveFile(int channel)
{
    DescriptorMessage message;
    ssize_t count = 0;
    do {
        count = recvmsg(channel, message.Header(), MSG_CMSG_CLOEXEC);
    } while (count < 0 && errno == EINTR);
    if (count <= 0) {
        return std::nullopt;
    }
    return FileDescriptor(message.Take());
}

void SendText(int channel, const std::string& text)
{
    send(channel, text.data(), std::min(text.size(), kLongestText), MSG_NOSIGNAL);
}

std::string ReceiveText(int channel)
{
    std::array<char, kLongestText> text;
    const ssize_t count = recv(channel, text.data(), text.size(), 0);
    return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

}  // namespace Tulvo::Simulator
