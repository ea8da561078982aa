// What programs of trouble stand on: a window and an arm in one process, stepped, with every demand that holds
// whatever goes wrong: no crash, no standing still, forces off, error lines, a report.
#pragma once

#include <QObject>
#include <QString>
#include <atomic>
#include <memory>
#include <random>
#include <stdexcept>

#include "flowtime.h"
#include "operator.h"
#include "qttharlentest.h"

/// A demand that was not met, in one sentence.
struct TroubleFound : std::runtime_error {
    explicit TroubleFound(const QString& sentence) : std::runtime_error(sentence.toStdString()) {}
};

/// The last actions. Plain memory, so that it may be shared with a process that outlives this one.
class Diary {
public:
    /// One line. Where a limit is set, the process gets SIGALRM when the next line is longer in coming.
    void note(const QString& line);
    QString last() const;  ///< the lines, oldest first

    std::atomic<long> at{0};          ///< the run or action under way
    std::atomic<unsigned> digest{0};  ///< of all lines: the same when the same happened
    unsigned limit = 0;               ///< s of real time for a line, 0 for none
    bool tell = false;                ///< each line goes to standard error as well

private:
    static constexpr long kLines = 40;
    static constexpr std::size_t kLength = 200;
    std::atomic<long> m_count{0};
    char m_lines[kLines][kLength] = {};
};

/// Seeded numbers, the same on every machine.
class Dice {
public:
    Dice(unsigned seed, long index) : m_engine(seed * 1000003ull + static_cast<unsigned long long>(index)) {}
    int below(int end) { return static_cast<int>(m_engine() % static_cast<unsigned long long>(end)); }
    int between(int low, int high) { return low + below(high - low + 1); }
    double real(double low, double high) { return low + (high - low) * (below(1000001) / 1e6); }
    bool oneIn(int times) { return below(times) == 0; }
    template <class Container>
    auto& of(Container& container) {
        return container[below(static_cast<int>(std::size(container)))];
    }

private:
    std::mt19937_64 m_engine;
};

/// Keeps the window's timers from firing when an event loop runs, since stepped time fires them, and answers the
/// question of closing, whose box waits in a loop of its own.
class Stillness : public QObject {
public:
    Stillness();
    bool sure = true;  ///< the answer
    bool eventFilter(QObject* watched, QEvent* event) override;
};

enum class Mode { User, Manufacturing, EncoderTest, Performance };

class TroubleBench : public FlowTime {
public:
    /// Fresh arm and window. No other window may be alive.
    TroubleBench(Diary& diary, const QString& advancedWord);
    ~TroubleBench() override;

    qtTharlenTest& window() { return *m_window; }
    SteppedTime& time() { return *m_time; }
    Operator& person() { return *m_person; }
    Stillness& stillness() { return m_stillness; }
    void note(const QString& action) { m_diary.note(action); }

    /// Ends window and process, as far as one can see from inside, and starts anew. The arm stays as it is.
    void openWindow();
    /// With a manner of the library, where one is given, from the first opening on.
    void freshArm(const QString& manner = {}, double amount = 1);
    /// From wherever the window is to "Mode", to the mode, and on to "Select".
    void choose(Mode mode);
    /// Opens the device with this place in the combo box.
    void select(int device);
    /// Puts every page of the manufacturing modes behind those that are there, as if each gate had been passed.
    void showAllPages();
    /// What is still missing: a device that runs. The arm must be sound.
    void recover();

    /// Goes to the tab of that text; it is added where it is not there.
    void go(const QString& tab);
    QString tab() const;
    /// Milliseconds of the arm; now and then what the window would paint.
    void spend(int milliseconds) override;
    void paint();

    /// One that the fault may have; 1 where it has none.
    static double drawAmount(const QString& fault, Dice& dice);
    /// Switches a fault on and, where it has a status with a line, waits for the line.
    void breakArm(const QString& fault, Dice& dice);
    void mendArm();
    /// Throws where the line does not come in time.
    void awaitLine(const QString& line, int milliseconds);

    /// What holds right after a change of tab. Some milliseconds pass.
    void checkForces();
    /// Numbers are numbers, and on an arm without faults the loop ticks.
    void checkAlive();
    /// Goes to "Summary", where the report has to be written.
    void checkReport();

private:
    QString expectedLine(const QString& fault, int axis, double amount) const;

    Diary& m_diary;
    QString m_word;
    Stillness m_stillness;
    std::unique_ptr<qtTharlenTest> m_window;
    std::unique_ptr<SteppedTime> m_time;
    std::unique_ptr<Operator> m_person;
};
