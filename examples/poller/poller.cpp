// SPDX-License-Identifier: Apache-2.0
// poller FILE USER
// Reads the health of many enclosures, eight at a time, and prints a line for each. The password
// comes from the environment's IPMI_PASSWORD. FILE has a line for each enclosure:
//
//   HOST PORT rmcp CIPHER-SUITE SECONDS [cancel]
//   HOST PORT https PIN SECONDS [cancel]
//
// SECONDS are its own deadline; "cancel" has it stopped half a second later, as when somebody takes
// it off the list.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "common/log/log.h"
#include "module/vkt/vkt_enclosure/health.h"
#include "module/vkt/vkt_enclosure/read_enclosure.h"

namespace {

namespace VKT = Tulvo::Enclosures;

constexpr std::size_t kThreads = 8;

struct Job
{
    VKT::Target target;
    std::chrono::seconds deadline{};
    bool isToBeCancelled = false;
    std::stop_source stop = {};
    VKT::Enclosure enclosure = {};  // written by the thread that reads it, looked at when all ended

    std::string Name() const { return target.host + ":" + std::to_string(target.port); }
};

// Each target says itself what it trusts and proposes: nothing of it holds for the whole process.
bool Parse(const std::string& line, const std::string& user, const std::string& password, Job& job)
{
    std::istringstream words(line);
    std::string over;
    std::string suiteOrPin;
    std::string cancel;
    std::int64_t seconds = 0;
    if (!(words >> job.target.host >> job.target.port >> over >> suiteOrPin >> seconds)) {
        return false;
    }
    words >> cancel;
    job.target.user = user;
    job.target.password = password;
    job.deadline = std::chrono::seconds(seconds);
    job.isToBeCancelled = cancel == "cancel";
    if (over == "https") {
        job.target.transport = VKT::Https{.trust = VKT::TrustPinnedKey{suiteOrPin}};
    } else {
        const auto suite = static_cast<std::uint8_t>(std::atoi(suiteOrPin.c_str()));
        job.target.transport = VKT::RmcpPlus{.cipherSuite = suite};
    }
    return over == "https" || over == "rmcp";
}

void Read(Job& job)
{
    const VKT::Limits limits{.deadline = job.deadline, .stop = job.stop.get_token()};
    job.enclosure = VKT::ReadEnclosure(job.target, {.sections = VKT::kHealth}, limits);
    const Tulvo::LogContext context(job.Name());  // the library names the target in its own records
    Tulvo::Log(3, __FILE__, __LINE__).Stream() << "requests: " << job.enclosure.cost.requests
                                               << ", log-ins: " << job.enclosure.cost.logIns;
}

// A pool: each thread takes the next job until there is none.
void ReadAll(std::vector<Job>& jobs)
{
    std::atomic<std::size_t> next = 0;
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < std::min(kThreads, jobs.size()); ++i) {
        threads.emplace_back([&jobs, &next] {
            for (std::size_t job = next++; job < jobs.size(); job = next++) {
                Read(jobs[job]);
            }
        });
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    for (Job& job : jobs) {
        if (job.isToBeCancelled) {
            job.stop.request_stop();  // touches no other read
        }
    }
}

// Whatever happened, every part of a record is there: what was read is printed, and what was not.
void Print(const Job& job)
{
    const VKT::Enclosure& enclosure = job.enclosure;
    const VKT::Judgement judgement = VKT::Judge(enclosure);
    std::cout << job.Name() << "  " << VKT::KeyOf(judgement.status);
    const auto average = enclosure.consumption.Map(&VKT::Consumption::average);
    if (const std::uint16_t* const power = average.Get()) {
        std::cout << "  power " << *power;
    }
    if (enclosure.error) {
        std::cout << "  " << VKT::KeyOf(enclosure.error->cause) << ": " << enclosure.error->message;
    } else if (!judgement.findings.empty()) {
        const VKT::Finding& worst = judgement.findings.front();
        std::cout << "  " << worst.object << ' ' << worst.message;
    }
    std::cout << '\n';
}

void Log(const Tulvo::LogRecord& record)  // one call at a time, from any thread
{
    std::cerr << "poller " << record.level << ' ' << record.target << ": " << record.text << '\n';
}

}  // namespace

int main(int argc, char** argv)
{
    const char* const password = std::getenv("IPMI_PASSWORD");
    if (argc != 3 || password == nullptr) {
        std::cerr << "usage: IPMI_PASSWORD=... poller FILE USER\n";
        return 2;
    }
    std::ifstream file(argv[1]);
    if (!file) {
        std::cerr << "poller: " << argv[1] << " cannot be opened\n";
        return 2;
    }
    std::vector<Job> jobs;
    for (std::string line; std::getline(file, line);) {
        if (!Parse(line, argv[2], password, jobs.emplace_back())) {
            std::cerr << "poller: this is no enclosure: " << line << '\n';
            return 2;
        }
    }
    Tulvo::SetLogLevel(3);
    Tulvo::SetLogSink(Log);
    ReadAll(jobs);
    std::for_each(jobs.begin(), jobs.end(), Print);
    return 0;
}
