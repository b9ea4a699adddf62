// SPDX-License-Identifier: Apache-2.0
/// @file
/// A module's web service for conversations over HTTPS that an input plays: what the module would
/// answer, the faults that the input puts in its place, and what holds of all that is sent to it.
#ifndef FUZZ_PLAYED_SERVICE_H
#define FUZZ_PLAYED_SERVICE_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "apps/vkt_simulator/scenario.h"
#include "fuzz/input_reader.h"
#include "fuzz/played_answers.h"
#include "fuzz/played_clock.h"
#include "fuzz/played_curl.h"
#include "module/vkt/vkt_https/https_transport.h"

namespace Tulvo::Fuzz {

/// The input's byte for a request: what the service does with it.
enum RequestEvent : std::uint8_t
{
    kAnswersWell,
    kAnswersCode,      ///< And the completion code.
    kAnswersAnything,  ///< And completion code, length, bytes.
    kCutsAnswer,       ///< And how many bytes are left of it.
    kAnswersStatus,    ///< And the status, and a line for its body.
    kIsBusy,           ///< And a line that says how long.
    kEchoes,           ///< And the status, and which secret.
    kSendsAnything,    ///< And the status, header lines, an empty line, length and bytes.
    kAddsLines,        ///< And a line of an interim reply, and one of a trailer.
    kBreaksOff,        ///< And what of the reply has arrived by then, and the result.
    kStaysSilent,      ///< And what of the reply has arrived by then.
    kIsLate,           ///< And how late.
    kHangsUp,          ///< After its answer.
    kForgets,          ///< All sessions.
    kDies,             ///< Before the request is there.
    kRequestEvents,
};

/// The input's byte for a new connection; what is none of these is a good one.
enum ConnectionEvent : std::uint8_t
{
    kConnects,
    kRefusesConnection,  ///< And the system's error.
    kFailsHandshake,     ///< And how.
    kShowsCertificate,   ///< That is not trusted: the verdict, two bytes of length, itself.
    kIgnoresConnection,
    kBreaksConnection,  ///< And the result.
    kConnectionEvents = 12,
};

/// What one conversation says to the service, and when.
struct PlayedClient
{
    bool isSelection = false;          ///< Of a supply; else it only reads.
    PlayedClock::Time asksUntil{};     ///< From then on it sends log-outs only.
    PlayedClock::Time deletesUntil{};  ///< From then on nothing.
    /// Whether user and password may be sent now.
    std::function<bool()> hasLeave;
};

/// Ends the program when the client sends what it should not, or when it should not.
class PlayedService final : public PlayedServer
{
public:
    /// Where the service is, and the account that it knows.
    static HttpsSettings Settings();

    /// @param answerTime how long connections and replies take.
    PlayedService(Script& script, const Simulator::Scenario& scenario, PlayedClient client,
                  std::chrono::milliseconds answerTime)
        : script_(script),
          enclosure_(scenario.enclosure, scenario.faults),
          client_(std::move(client)),
          answerTime_(answerTime)
    {
    }

    void Begin(const std::string& method, const std::string& url) override;
    PlayedConnection Connect() override;
    bool TakesRequest() override;
    PlayedReply Answer(const PlayedRequest& request) override;
    void HeaderArrived() override;
    void ReplyArrived(const std::string& body) override;

    /// What the client was answered.
    const GoodAnswers& Answers() const { return answers_; }

    /// Whether no session is left that the client knows and has not tried to delete.
    bool IsLeftAlone() const { return left_.empty(); }

    /// Ends the program when `text` holds the password, or the token of the session or of that
    /// before it.
    void RequireNoSecret(const std::string& text) const;

private:
    void RequireTime() const;
    PlayedConnection NewConnection();
    void RequireLeave(const PlayedRequest& request);
    PlayedReply Right(const PlayedRequest& request);
    PlayedReply LogIn(const PlayedRequest& request);
    PlayedReply LogOut(const PlayedRequest& request);
    PlayedReply Ipmi(const PlayedRequest& request);
    PlayedReply Done(PlayedReply right);
    PlayedReply Instead();
    PlayedReply OtherAnswer();
    PlayedReply IpmiReply(std::uint8_t code, const Bytes& data) const;
    PlayedReply AnyReply();
    long AnyStatus();
    std::vector<std::string> Secrets() const;

    Script& script_;
    Simulator::FaultyEnclosure enclosure_;
    PlayedClient client_;
    std::chrono::milliseconds answerTime_;
    GoodAnswers answers_;
    std::set<std::string> left_;  ///< Paths of sessions that the client knows and has not deleted.
    std::map<std::string, std::string> sessions_;  ///< That are open: tokens by path.
    unsigned opened_ = 0;                          ///< Sessions.
    std::vector<std::string> tokens_;              ///< That the client was told.
    bool isRefused_ = false;                       ///< User and password were.
    bool isAccepted_ = false;                      ///< Likewise.
    bool wasSelected_ = false;                     ///< Or may have been.
    unsigned connections_ = 0;
    unsigned connectionsInARow_ = 0;  ///< Without any time between them.
    PlayedClock::Time connectedAt_{};
    unsigned requests_ = 0;

    // Of the present request.
    std::string path_;
    bool isLogOut_ = false;
    bool isTooLate_ = false;
    bool isProof_ = false;  ///< It carries the password.
    std::optional<IPMICOMMAND> command_;
    bool selects_ = false;
    std::uint8_t event_ = 0;
    /// Path and token of the session that its reply tells.
    std::optional<std::pair<std::string, std::string>> opens_;
    long status_ = 0;
};

}  // namespace Tulvo::Fuzz

#endif
