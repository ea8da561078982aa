// What is measured: each function makes one round and adds its numbers to the table. All on the graphical thread; the
// arm is put back between them.
#pragma once

#include <functional>
#include <string>

#include "figures.h"

class qtTharlenTest;

struct Options {
    int round = 0;       ///< from 0; pairs change their order with it
    int seconds = 0;     ///< of a timed turn, 0 where the topic takes its own
    std::string folder;  ///< of the programs that are run
    std::string place;   ///< of the tabs and pages only those with this in their name; empty for all

    int turn(int ownSeconds) const { return seconds > 0 ? seconds : ownSeconds; }
};

/// Cost of one servo tick in every branch, and its allocations. The loop is stepped.
void measureTickCost(Table& table, const Options& options);
/// Cost of one call of each slot that a timer calls, on its tab with the arm moving. The loop is stepped.
void measureSlots(Table& table, const Options& options);
/// The longest the event loop is held on each tab, beside a bare window with one scene. Throws std::runtime_error where
/// no place has the name that is asked for.
void measureStalls(Table& table, const Options& options);
/// The longest it is held while a slider is drawn from end to end and the amplifiers do not follow.
void measureSlider(Table& table, const Options& options);
/// Simulated seconds a second of the stepped arm, and what use does to memory.
void measureStepped(Table& table, const Options& options);
/// Wake-up lateness of the loop with real-time scheduling beside the shown window, in turns with cyclictest.
void measureLateness(Table& table, const Options& options);
/// The same without real-time scheduling, in turns with a bare thread.
void measureOrdinaryLateness(Table& table, const Options& options);
/// Periods that go by without a tick beside a busy window, in turns with cyclictest.
void measureLostTicks(Table& table, const Options& options);
/// Wake-up lateness of the loop with the loads of the servo page on, and without.
void measureUnderLoad(Table& table, const Options& options);
/// Late ticks while "Clear" empties an error browser of 100,000 lines.
void measureClearing(Table& table, const Options& options);
/// From process start to first paint, against a bare window.
void measureStartUp(Table& table, const Options& options);
/// Processor use at rest on "Select", against one scene that repaints at the same pace.
void measureRest(Table& table, const Options& options);

/// Runs the two turns of a pair, the first one second in every other pair, so that neither always comes after the
/// other.
inline void inTurn(int pair, const std::function<void()>& one, const std::function<void()>& other) {
    const bool swapped = pair % 2 == 1;
    (swapped ? other : one)();
    (swapped ? one : other)();
}

/// Milliseconds from start to end of a program with one argument, or how it failed.
Reading timeOf(const std::string& program, const char* argument);
/// The event loop runs for so long.
void spend(int milliseconds);
