#pragma once

#include "core/servicestate.h"
#include "network/change.h"

#include <QString>

#include <atomic>

// What became of a change, judged from what the service reads afterwards.
struct ChangeReport
{
    enum class Outcome {
        Applied,       // the service reads what was asked
        Refused,       // the system said no (rights missing, a bad value), or took nothing without a word
        Cancelled,     // the administrator prompt was dismissed: nothing ran
        TimedOut,      // a step did not answer in time
        PartlyApplied, // the switch to DHCP took effect, the fixed address after it failed
    };

    Change change;
    Outcome outcome = Outcome::Applied;
    ChangeResult steps;     // how the commands went
    MachineReading reading; // the machine read back afterwards
    ServiceState after;     // the service in that reading
    QString line;           // for a person, from both

    // "applied", "refused", "cancelled", "timed out", "partly applied"
    QString outcomeText() const;
};

struct ChangeOptions
{
    int timeoutMs = System::defaultTimeoutMs;
    int promptTimeoutMs = System::defaultTimeoutMs;
    bool elevate = false;  // straight to the administrator prompt
    bool askAdmin = false; // to the prompt when a step is refused for want of rights
};

// The one job of every front end: the change's steps (through the prompt when asked and needed), then a
// reading of the machine, then the report.
ChangeReport runChange(const Change& change, const ChangeOptions& options);

// The report of steps that went as `steps` says, given the machine as read afterwards.
ChangeReport judgeChange(const Change& change, const ChangeResult& steps, const MachineReading& after);
