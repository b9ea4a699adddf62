// SPDX-License-Identifier: Apache-2.0
#include "common/log/log_output.h"

#include <exception>
#include <memory>
#include <mutex>
#include <utility>

#include "common/log/text_sink.h"
#include "common/log/write_signals.h"

namespace Tulvo {

namespace Logging {
namespace {

using HostSink = std::function<void(const LogRecord&)>;

struct Output
{
    /// Recursive, since a host's sink may change the sinks or log, on purpose or not.
    std::recursive_mutex mutex;
    bool delivering = false;
    std::shared_ptr<const HostSink> hostSink;
    TextSink textSink = MakeStderrSink();
};

/// Never destroyed: destructors of static objects log too.
Output& TheOutput()
{
    static Output& output = *new Output;
    return output;
}

class Delivery
{
public:
    explicit Delivery(Output& output) : output_(output) { output_.delivering = true; }
    ~Delivery() { output_.delivering = false; }
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;

private:
    Output& output_;
};

LogRecord FailureNotice(const std::exception& failure)
{
    return {
        2, __FILE__, __LINE__,
        std::string("log records go to the standard error output from now on: ") + failure.what()};
}

void WriteText(TextSink& sink, const LogRecord& record)
{
    const WriteSignals blocked;
    try {
        WriteRecord(*sink, record);
    } catch (const std::exception& failure) {
        // A file sink that failed once is not fit to be called again.
        sink = MakeStderrSink();
        WriteRecord(*sink, FailureNotice(failure));
        WriteRecord(*sink, record);
    }
}

/// The sink that was in force ends after the lock: it may be the host's code.
template <class Sink>
void Exchange(Sink Output::*member, Sink sink)
{
    Output& output = TheOutput();
    const std::lock_guard lock(output.mutex);
    std::swap(output.*member, sink);
}

}  // namespace

void DeliverLogRecord(const LogRecord& record)
{
    Output& output = TheOutput();
    const std::lock_guard lock(output.mutex);
    if (output.delivering) {
        return;
    }
    const Delivery delivery(output);
    if (const auto sink = output.hostSink) {
        (*sink)(record);
    } else {
        WriteText(output.textSink, record);
    }
}

}  // namespace Logging

void SetLogSink(std::function<void(const LogRecord&)> sink)
{
    Logging::Exchange(&Logging::Output::hostSink,
                      sink ? std::make_shared<const Logging::HostSink>(std::move(sink)) : nullptr);
}

void LogToStderr()
{
    Logging::Exchange(&Logging::Output::textSink, Logging::MakeStderrSink());
}

bool LogToFile(const std::string& path, std::size_t maxBytes, std::size_t oldFiles)
{
    try {
        Logging::Exchange(&Logging::Output::textSink,
                          Logging::MakeFileSink(path, maxBytes, oldFiles));
        return true;
    } catch (const std::exception& failure) {
        Log(2, __FILE__, __LINE__).Stream()
            << "log file " << path << " is not used: " << failure.what();
        return false;
    }
}

void LogToSyslog(const std::string& ident)
{
    // The end of an earlier system log sink would close the new one's connection.
    LogToStderr();
    Logging::Exchange(&Logging::Output::textSink, Logging::MakeSyslogSink(ident));
}

}  // namespace Tulvo
