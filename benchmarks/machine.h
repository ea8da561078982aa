// The machine of a run, and what it permits.
#pragma once

#include "report.h"

/// All of a run but its figures, as it stands now.
Run describeRun();

/// Whether a thread that the calling one starts may have real-time scheduling.
bool realTimePermitted();

/// While it lives, threads that the calling one starts may not have real-time scheduling.
class OrdinaryScheduling {
public:
    OrdinaryScheduling();
    ~OrdinaryScheduling();
    OrdinaryScheduling(const OrdinaryScheduling&) = delete;
    OrdinaryScheduling& operator=(const OrdinaryScheduling&) = delete;

private:
    unsigned long m_limit = 0;
    bool m_mayNice = false;
};
