// SPDX-License-Identifier: Apache-2.0
/// @file
/// Numbers that the exporter keeps of itself.
#ifndef APPS_VKT_EXPORTER_METRICS_REGISTRY_H
#define APPS_VKT_EXPORTER_METRICS_REGISTRY_H

#include <atomic>
#include <deque>
#include <string>
#include <vector>

#include "apps/vkt_exporter/metrics/exposition.h"

namespace Tulvo::Exporter {

/// The value of one series; any thread may change it.
class Number
{
public:
    void Set(double value) { value_ = value; }
    void Add(double difference = 1) { value_ += difference; }
    double Get() const { return value_; }

private:
    std::atomic<double> value_ = 0;
};

/// The series of one program, each 0 at first. Series are registered before threads start.
class Registry
{
public:
    /// @return valid as long as the registry.
    Number& Register(const MetricFamily& family, std::vector<std::string> labels = {});

    void AddTo(Exposition& exposition) const;

private:
    struct Series
    {
        MetricFamily family;
        std::vector<std::string> labels;
        Number number;
    };
    std::deque<Series> series_;
};

}  // namespace Tulvo::Exporter

#endif
