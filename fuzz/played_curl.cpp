// SPDX-License-Identifier: Apache-2.0
#include "fuzz/played_curl.h"

#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <map>

#include "fuzz/played_clock.h"
#include "fuzz/require.h"

namespace Tulvo::Fuzz {

namespace {

constexpr int kMostOwnTries = 5;  // of libcurl, for one request
constexpr PlayedClock::Time kNever = PlayedClock::Time::max();

PlayedServer* played = nullptr;

PlayedServer& Server()
{
    Require(played != nullptr, "libcurl is used in a played conversation only");
    return *played;
}

PlayedClock::Time After(Takes takes)
{
    return takes ? std::chrono::steady_clock::now() + *takes : kNever;
}

/// What looks at a connection sees that nothing waits there, or that its other end is closed.
class Sockets
{
public:
    Sockets()
    {
        Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, quiet_.data()) == 0 &&
                    socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, closed_.data()) == 0,
                "there are descriptors for two connections");
        close(closed_[1]);
    }

    int Quiet() const { return quiet_[0]; }
    int Closed() const { return closed_[0]; }

private:
    std::array<int, 2> quiet_{};
    std::array<int, 2> closed_{};
};

const Sockets& TheSockets()
{
    static const Sockets sockets;
    return sockets;
}

SSL_CTX* TheContext()
{
    static SSL_CTX* const context = SSL_CTX_new(TLS_client_method());
    return context;
}

/// A handle's options as they were set.
class PlayedOptions
{
public:
    using Function = void (*)();

    void SetNumber(CURLoption option, curl_off_t number) { numbers_[option] = number; }
    void SetFunction(CURLoption option, Function function) { functions_[option] = function; }
    /// Libcurl copies texts, and keeps pointers.
    void SetPointer(CURLoption option, void* pointer)
    {
        const bool isText = option == CURLOPT_URL || option == CURLOPT_CUSTOMREQUEST ||
                            option == CURLOPT_USERNAME || option == CURLOPT_PASSWORD;
        if (isText) {
            texts_[option] = pointer == nullptr ? "" : static_cast<const char*>(pointer);
        } else {
            pointers_[option] = pointer;
        }
    }

    curl_off_t Number(CURLoption option) const { return Find(numbers_, option); }
    std::string Text(CURLoption option) const { return Find(texts_, option); }
    template <class T>
    T* Pointer(CURLoption option) const
    {
        return static_cast<T*>(Find(pointers_, option));
    }
    template <class Callback>
    Callback Get(CURLoption option) const
    {
        return reinterpret_cast<Callback>(Find(functions_, option));
    }

private:
    template <class Map>
    static typename Map::mapped_type Find(const Map& map, CURLoption option)
    {
        const auto found = map.find(option);
        return found == map.end() ? typename Map::mapped_type{} : found->second;
    }

    std::map<CURLoption, curl_off_t> numbers_;
    std::map<CURLoption, Function> functions_;
    std::map<CURLoption, void*> pointers_;
    std::map<CURLoption, std::string> texts_;
};

struct PlayedMulti;

class PlayedHandle
{
public:
    PlayedOptions options;
    PlayedMulti* multi = nullptr;

    void Start();
    /// As far as it goes without waiting.
    /// @return the result, once there is one.
    std::optional<CURLcode> Perform();
    /// Until when it waits.
    PlayedClock::Time Due() const { return std::min(due_, givesUp_); }
    /// Libcurl closes a connection on which an answer is outstanding.
    void GiveUp()
    {
        isConnected_ = isConnected_ && result_;
        result_ = CURLE_OK;
    }

    long Status() const { return status_; }
    long SystemError() const { return connection_.systemError; }
    curl_socket_t Socket() const
    {
        if (!isConnected_) {
            return CURL_SOCKET_BAD;
        }
        return reply_.closes ? TheSockets().Closed() : TheSockets().Quiet();
    }

private:
    enum class Step
    {
        kConnect,
        kShakeHands,
        kSend,
        kReceive,
    };

    void Connect();
    void ShakeHands();
    CURLcode BeginHandshake();
    void ShowCertificate(SSL* tls) const;
    void Send();
    bool ReadBody(std::string& body);
    void Receive();
    bool Deliver(std::size_t index);
    bool HandOver(CURLoption function, CURLoption data, const std::string& piece);
    void BreakOff(CURLcode result, bool bodyWasRead);
    void End(CURLcode result, bool keepsConnection);

    Step step_ = Step::kConnect;
    PlayedConnection connection_;
    PlayedReply reply_;
    PlayedClock::Time due_{};
    PlayedClock::Time givesUp_ = kNever;
    std::optional<CURLcode> result_;
    long status_ = 0;
    int tries_ = 0;
    bool isConnected_ = false;
    bool isKept_ = false;  ///< The connection, from an earlier request.
};

struct PlayedMulti
{
    PlayedHandle* handle = nullptr;
    CURLMsg message{};
    bool isTold = false;
};

void PlayedHandle::Start()
{
    const bool isPost = options.Text(CURLOPT_CUSTOMREQUEST).empty();
    Server().Begin(isPost ? "POST" : options.Text(CURLOPT_CUSTOMREQUEST),
                   options.Text(CURLOPT_URL));
    result_.reset();
    status_ = 0;
    tries_ = 0;
    isKept_ = isConnected_ && options.Number(CURLOPT_FRESH_CONNECT) == 0;
    isConnected_ = isKept_;
    step_ = isKept_ ? Step::kSend : Step::kConnect;
    due_ = std::chrono::steady_clock::now();
    givesUp_ = kNever;
    Require(options.Number(CURLOPT_CONNECTTIMEOUT_MS) > 0, "a connection has a time limit");
}

std::optional<CURLcode> PlayedHandle::Perform()
{
    while (!result_ && Due() <= std::chrono::steady_clock::now()) {
        if (givesUp_ < due_) {
            End(CURLE_OPERATION_TIMEDOUT, false);
            break;
        }
        switch (step_) {
            case Step::kConnect:
                Connect();
                break;
            case Step::kShakeHands:
                ShakeHands();
                break;
            case Step::kSend:
                Send();
                break;
            case Step::kReceive:
                Receive();
                break;
        }
    }
    return result_;
}

void PlayedHandle::Connect()
{
    connection_ = Server().Connect();
    due_ = After(connection_.takes);
    givesUp_ = std::chrono::steady_clock::now() +
               std::chrono::milliseconds(options.Number(CURLOPT_CONNECTTIMEOUT_MS));
    step_ = Step::kShakeHands;
}

void PlayedHandle::ShakeHands()
{
    givesUp_ = kNever;
    const CURLcode refusal = connection_.handshakeBegins ? BeginHandshake() : CURLE_OK;
    const CURLcode result = refusal == CURLE_OK ? connection_.result : refusal;
    if (result != CURLE_OK) {
        if (char* const text = options.Pointer<char>(CURLOPT_ERRORBUFFER)) {
            std::snprintf(text, CURL_ERROR_SIZE, "%s", connection_.detail.c_str());
        }
        return End(result, false);
    }
    isConnected_ = true;
    isKept_ = false;
    reply_.closes = false;
    step_ = Step::kSend;
}

CURLcode PlayedHandle::BeginHandshake()
{
    SSL_CTX* const context = TheContext();
    const auto prepare = options.Get<curl_ssl_ctx_callback>(CURLOPT_SSL_CTX_FUNCTION);
    const CURLcode refusal = prepare(this, context, options.Pointer<void>(CURLOPT_SSL_CTX_DATA));
    const bool showsNothing =
        !connection_.certificate && !connection_.alert && !connection_.asksForCertificate;
    if (refusal != CURLE_OK || showsNothing) {
        return refusal;
    }
    const std::unique_ptr<SSL, decltype(&SSL_free)> tls(SSL_new(context), SSL_free);
    if (connection_.certificate) {
        ShowCertificate(tls.get());
    }
    if (connection_.asksForCertificate) {
        X509* certificate = nullptr;
        EVP_PKEY* key = nullptr;
        SSL_CTX_get_client_cert_cb(context)(tls.get(), &certificate, &key);
    }
    if (connection_.alert) {
        SSL_CTX_get_info_callback(context)(tls.get(), SSL_CB_READ_ALERT, SSL_AD_HANDSHAKE_FAILURE);
    }
    return CURLE_OK;
}

/// As OpenSSL does when it has verified the server's own one.
void PlayedHandle::ShowCertificate(SSL* tls) const
{
    const std::unique_ptr<X509_STORE_CTX, decltype(&X509_STORE_CTX_free)> chain(
        X509_STORE_CTX_new(), X509_STORE_CTX_free);
    X509* const certificate = connection_.certificate.get();
    X509_STORE_CTX_init(chain.get(), nullptr, certificate, nullptr);
    X509_STORE_CTX_set_ex_data(chain.get(), SSL_get_ex_data_X509_STORE_CTX_idx(), tls);
    X509_STORE_CTX_set_current_cert(chain.get(), certificate);
    X509_STORE_CTX_set_error(chain.get(), connection_.verdict);
    SSL_CTX_get_verify_callback(TheContext())(connection_.verdict == X509_V_OK ? 1 : 0,
                                              chain.get());
}

void PlayedHandle::Send()
{
    const auto mayLeave = options.Get<curl_prereq_callback>(CURLOPT_PREREQFUNCTION);
    char none[] = "";
    if (mayLeave(options.Pointer<void>(CURLOPT_PREREQDATA), none, none, 0, 0) !=
        CURL_PREREQFUNC_OK) {
        return End(CURLE_ABORTED_BY_CALLBACK, false);
    }
    if (!Server().TakesRequest()) {
        return BreakOff(CURLE_SEND_ERROR, false);
    }
    PlayedRequest request;
    request.method = options.Text(CURLOPT_CUSTOMREQUEST);
    request.url = options.Text(CURLOPT_URL);
    for (const auto* line = options.Pointer<curl_slist>(CURLOPT_HTTPHEADER); line != nullptr;
         line = line->next) {
        request.fields.emplace_back(line->data);
    }
    request.user = options.Text(CURLOPT_USERNAME);
    request.password = options.Text(CURLOPT_PASSWORD);
    if (request.method.empty()) {
        request.method = "POST";
        if (!ReadBody(request.body)) {
            return End(CURLE_ABORTED_BY_CALLBACK, false);
        }
    }
    reply_ = Server().Answer(request);
    due_ = After(reply_.takes);
    step_ = Step::kReceive;
}

bool PlayedHandle::ReadBody(std::string& body)
{
    const auto read = options.Get<curl_read_callback>(CURLOPT_READFUNCTION);
    const auto size = static_cast<std::size_t>(options.Number(CURLOPT_POSTFIELDSIZE_LARGE));
    while (body.size() < size) {
        std::vector<char> buffer(std::min<std::size_t>(size - body.size(), 64));
        const std::size_t count =
            read(buffer.data(), 1, buffer.size(), options.Pointer<void>(CURLOPT_READDATA));
        if (count == CURL_READFUNC_ABORT || count == 0) {
            return false;
        }
        body.append(buffer.data(), count);
    }
    return true;
}

void PlayedHandle::Receive()
{
    const std::size_t header = reply_.interim.size() + reply_.header.size();
    const std::size_t body = header + reply_.body.size();
    const std::size_t all = body + reply_.trailers.size();
    const std::size_t arrives = std::min(all, reply_.arrives);
    for (std::size_t index = 0; index < arrives; ++index) {
        if (!Deliver(index)) {
            return End(CURLE_WRITE_ERROR, false);
        }
        if (index + 1 == header) {
            Server().HeaderArrived();
        }
    }
    if (reply_.fallsSilent) {
        due_ = kNever;
        return;
    }
    if (reply_.result != CURLE_OK || arrives == 0) {
        const CURLcode result = reply_.result == CURLE_OK ? CURLE_GOT_NOTHING : reply_.result;
        return arrives == 0 ? BreakOff(result, true) : End(result, false);
    }
    // Where a connection's end ends the body, and within a header, libcurl finds nothing wrong.
    if (arrives < all && arrives >= header && !reply_.closes) {
        return End(CURLE_PARTIAL_FILE, false);
    }
    if (arrives >= header) {
        const std::size_t pieces = std::min(arrives, body) - header;
        std::string text;
        for (std::size_t index = 0; index < pieces; ++index) {
            text += reply_.body[index];
        }
        Server().ReplyArrived(text);
    }
    End(CURLE_OK, arrives == all);
}

bool PlayedHandle::Deliver(std::size_t index)
{
    const auto line = [this](const std::string& piece) {
        return HandOver(CURLOPT_HEADERFUNCTION, CURLOPT_HEADERDATA, piece);
    };
    if (index < reply_.interim.size()) {
        status_ = 100;
        return line(reply_.interim[index]);
    }
    index -= reply_.interim.size();
    if (index < reply_.header.size()) {
        status_ = reply_.status;
        return line(reply_.header[index]);
    }
    index -= reply_.header.size();
    if (index < reply_.body.size()) {
        return HandOver(CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA, reply_.body[index]);
    }
    return line(reply_.trailers[index - reply_.body.size()]);
}

/// In a buffer of exactly its size.
bool PlayedHandle::HandOver(CURLoption function, CURLoption data, const std::string& piece)
{
    std::vector<char> exact(piece.begin(), piece.end());
    return options.Get<curl_write_callback>(function)(exact.data(), 1, exact.size(),
                                                      options.Pointer<void>(data)) == exact.size();
}

/// Before a byte of the answer came. On a kept connection libcurl tries once more by itself: the
/// server may have closed it before the request was there.
void PlayedHandle::BreakOff(CURLcode result, bool bodyWasRead)
{
    const bool closedOnly =
        result == CURLE_GOT_NOTHING || result == CURLE_RECV_ERROR || result == CURLE_SEND_ERROR;
    if (!isKept_ || !closedOnly || ++tries_ > kMostOwnTries) {
        return End(result, false);
    }
    const auto rewind = options.Get<curl_seek_callback>(CURLOPT_SEEKFUNCTION);
    const bool hasBody = options.Text(CURLOPT_CUSTOMREQUEST).empty();
    if (bodyWasRead && hasBody &&
        rewind(options.Pointer<void>(CURLOPT_SEEKDATA), 0, SEEK_SET) != CURL_SEEKFUNC_OK) {
        return End(CURLE_SEND_FAIL_REWIND, false);
    }
    isConnected_ = false;
    step_ = Step::kConnect;
}

void PlayedHandle::End(CURLcode result, bool keepsConnection)
{
    result_ = result;
    isConnected_ = isConnected_ && keepsConnection;
}

PlayedHandle* HandleOf(CURL* handle)
{
    return static_cast<PlayedHandle*>(handle);
}

PlayedMulti* MultiOf(CURLM* multi)
{
    return static_cast<PlayedMulti*>(multi);
}

void Remove(PlayedMulti* multi)
{
    if (multi != nullptr && multi->handle != nullptr) {
        multi->handle->GiveUp();
        multi->handle->multi = nullptr;
        multi->handle = nullptr;
    }
}

}  // namespace

PlayedCurl::PlayedCurl(PlayedServer& server)
{
    Require(played == nullptr, "one server is played at a time");
    played = &server;
}

PlayedCurl::~PlayedCurl()
{
    played = nullptr;
}

}  // namespace Tulvo::Fuzz

// In place of libcurl's own. Parentheses keep the header's macros of the same names off.

using namespace Tulvo::Fuzz;

CURL* curl_easy_init()
{
    return new PlayedHandle;
}

void curl_easy_cleanup(CURL* handle)
{
    Remove(HandleOf(handle)->multi);
    delete HandleOf(handle);
}

// The enumerations are libcurl's, of the size that a variable argument has.
#pragma GCC diagnostic ignored "-Wvarargs"

// The analyzer forgets va_start() in all files but the first of a run.
// NOLINTBEGIN(clang-analyzer-valist.Uninitialized)

CURLcode(curl_easy_setopt)(CURL* handle, CURLoption option, ...)
{
    static_assert(sizeof(curl_off_t) == sizeof(long), "numbers of both kinds are read as one");
    PlayedOptions& options = HandleOf(handle)->options;
    va_list arguments;
    va_start(arguments, option);
    if (option < CURLOPTTYPE_OBJECTPOINT || option >= CURLOPTTYPE_OFF_T) {
        options.SetNumber(option, va_arg(arguments, curl_off_t));
    } else if (option < CURLOPTTYPE_FUNCTIONPOINT) {
        options.SetPointer(option, va_arg(arguments, void*));
    } else {
        options.SetFunction(option, va_arg(arguments, PlayedOptions::Function));
    }
    va_end(arguments);
    return CURLE_OK;
}

CURLcode(curl_easy_getinfo)(CURL* handle, CURLINFO info, ...)
{
    va_list arguments;
    va_start(arguments, info);
    void* const value = va_arg(arguments, void*);
    va_end(arguments);
    if (info == CURLINFO_RESPONSE_CODE) {
        *static_cast<long*>(value) = HandleOf(handle)->Status();
    } else if (info == CURLINFO_OS_ERRNO) {
        *static_cast<long*>(value) = HandleOf(handle)->SystemError();
    } else if (info == CURLINFO_ACTIVESOCKET) {
        *static_cast<curl_socket_t*>(value) = HandleOf(handle)->Socket();
    } else {
        return CURLE_UNKNOWN_OPTION;
    }
    return CURLE_OK;
}

// NOLINTEND(clang-analyzer-valist.Uninitialized)

CURLcode curl_easy_perform(CURL* /*handle*/)
{
    Require(false, "a request within a limit does not block in libcurl");
    return CURLE_FAILED_INIT;
}

CURLM* curl_multi_init()
{
    return new PlayedMulti;
}

CURLMcode curl_multi_cleanup(CURLM* multi)
{
    Remove(MultiOf(multi));
    delete MultiOf(multi);
    return CURLM_OK;
}

CURLMcode curl_multi_add_handle(CURLM* multi, CURL* handle)
{
    Require(MultiOf(multi)->handle == nullptr && HandleOf(handle)->multi == nullptr,
            "a handle carries one transfer at a time");
    MultiOf(multi)->handle = HandleOf(handle);
    MultiOf(multi)->isTold = false;
    HandleOf(handle)->multi = MultiOf(multi);
    HandleOf(handle)->Start();
    return CURLM_OK;
}

CURLMcode curl_multi_remove_handle(CURLM* multi, CURL* /*handle*/)
{
    Remove(MultiOf(multi));
    return CURLM_OK;
}

CURLMcode curl_multi_perform(CURLM* multi, int* running)
{
    PlayedMulti& all = *MultiOf(multi);
    const auto result = all.handle->Perform();
    *running = result ? 0 : 1;
    if (result) {
        all.message.msg = CURLMSG_DONE;
        all.message.easy_handle = all.handle;
        all.message.data.result = *result;
    }
    return CURLM_OK;
}

CURLMsg* curl_multi_info_read(CURLM* multi, int* more)
{
    PlayedMulti& all = *MultiOf(multi);
    *more = 0;
    const bool isNew = all.message.easy_handle != nullptr && !all.isTold;
    all.isTold = true;
    return isNew ? &all.message : nullptr;
}

CURLMcode curl_multi_poll(CURLM* multi, curl_waitfd* /*more*/, unsigned /*count*/, int timeout,
                          int* /*ready*/)
{
    const auto longest = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout);
    PlayedClock::MoveTo(std::min(longest, MultiOf(multi)->handle->Due()));
    return CURLM_OK;
}

CURLMcode curl_multi_wakeup(CURLM* /*multi*/)
{
    return CURLM_OK;
}
