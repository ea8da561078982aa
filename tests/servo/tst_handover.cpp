// The hand-over types, used by two threads as the window uses them.
#include <QTest>
#include <thread>

#include "handover.h"

class TestHandover : public QObject {
    Q_OBJECT

private slots:
    // Every pushed item arrives once and in order; a refused one is offered again.
    void queueKeepsOrderBetweenThreads() {
        BoundedQueue<int, 8> queue;
        constexpr int kItems = 20000;
        std::thread writer([&queue] {
            for (int i = 0; i < kItems; ++i) {
                while (!queue.push(i))
                    std::this_thread::yield();
            }
        });
        int item = -1;
        bool ordered = true;
        for (int expected = 0; expected < kItems;) {
            if (queue.pop(item))
                ordered = ordered && item == expected++;
            else
                std::this_thread::yield();
        }
        writer.join();
        QVERIFY(ordered);
        QVERIFY(!queue.pop(item));
    }

    // What was written before a flag was raised is there for the thread that sees the flag; of the orders weaker
    // than that it is the thread sanitizer that tells on this machine.
    void flagPublishesWhatCameBefore() {
#if defined(__SANITIZE_THREAD__)
        constexpr int kRounds = 2000;
#else
        constexpr int kRounds = 20;
#endif
        for (int round = 0; round < kRounds; ++round) {
            int plain = 0;
            Shared<bool> raised;
            std::thread writer([&] {
                plain = 42;
                raised = true;
            });
            while (!raised)
                std::this_thread::yield();
            const int seen = plain;
            writer.join();
            QCOMPARE(seen, 42);
        }
    }

    void arrayGivesAndTakesPlainBuffers() {
        SharedArray<long, 3> values;
        const long plain[] = {4, 5, 6};
        values.store(plain);
        values[1] = -5;
        QCOMPARE(values.copy(), (std::array<long, 3>{4, -5, 6}));
    }
};

QTEST_APPLESS_MAIN(TestHandover)
#include "tst_handover.moc"
