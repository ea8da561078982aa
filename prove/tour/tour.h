// A tour: one flow walked with one device after the other, each step with its verdict and picture.
#pragma once

#include <QString>
#include <cstdint>
#include <functional>
#include <memory>

#include "logbook.h"
#include "operator.h"
#include "qttharlentest.h"
#include "session.h"

/// How a tour runs.
struct TourPlan {
    QString flow = "user";  ///< "user", "manufacturing" or "pages"
    QStringList devices;    ///< names in the fleet
    bool stepped = false;   ///< fast, without waiting
    QString folder;
};

/// Runs the plan and writes its folder. Graphical thread, with no window alive.
class Tour {
public:
    explicit Tour(const TourPlan& plan);
    /// Steps that were not as expected; -1 when the folder cannot be written.
    int run();
    /// Ends the tour at the next moment: forces off, the page written. Any thread, also a signal's handler.
    static void cancel();

private:
    void walk(const QString& device);
    /// By the start dialog, as whoever certifies devices.
    bool startAtBench(const QString& flow, bool mechanics);
    void walkUser();
    void walkManufacturing();
    bool measureMechanics();
    /// Whether the flow does; the bench has to say where it does not, and nowhere else.
    bool goesOn();
    void walkPages();
    /// One step: false when the flow cannot go on.
    bool step(const QString& name, const std::function<QString()>& act, const QString& note = QString());
    bool go(const QString& tab);
    void keepReport();

    TourPlan m_plan;
    Logbook m_book;
    QString m_device;
    std::unique_ptr<qtTharlenTest> m_window;
    std::unique_ptr<BenchSession> m_session;
    std::unique_ptr<FlowTime> m_time;
    std::unique_ptr<Operator> m_person;
    std::uint64_t m_ticks = 0, m_lostTicks = 0;  // of the servo loop, in real time
};
