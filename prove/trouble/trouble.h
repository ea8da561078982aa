// Trouble while it runs: each fault in the middle of each test, and an operator who does anything. Both are seeded
// and repeat exactly, and throw TroubleFound where a demand is not met.
#pragma once

#include "troublebench.h"

/// Runs `count` runs from the one with number `first`. Run by run the fault goes on at a random moment of the next
/// test and off again, the tab is left, and a report is written; all faults meet all tests.
void troubleFaults(TroubleBench& bench, Diary& diary, unsigned seed, long first, long count);
/// Runs after which every fault has met every test.
int troubleRound();

/// `count` actions of an operator without a plan, from the one with number `first`.
void troubleOperator(TroubleBench& bench, Diary& diary, unsigned seed, long first, long count);
