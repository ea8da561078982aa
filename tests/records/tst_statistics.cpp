// Runs beside each other: the statistics against numbers that were computed by hand or follow from known variances,
// and the commands on a small store.
#include <QProcess>
#include <QTemporaryDir>
#include <QtAlgorithms>
#include <QtTest>
#include <array>
#include <cmath>
#include <random>

#include "compared.h"
#include "madereport.h"
#include "statistics.h"

using namespace records;

namespace {

using Values = std::vector<std::vector<std::vector<double>>>;

bool near(double value, double expected, double within = 1e-9) { return std::abs(value - expected) <= within; }

/// Pairs, parts and trials of the best balanced set, by trying each set of parts and each of appraisers.
using Size = std::array<std::size_t, 3>;
Size bestSize(const std::vector<std::vector<std::size_t>>& counts) {
    Size best{};
    for (unsigned parts = 0; parts < 1u << counts.size(); ++parts)
        for (unsigned appraisers = 0; appraisers < 1u << counts[0].size(); ++appraisers) {
            const std::size_t p = qPopulationCount(parts), a = qPopulationCount(appraisers);
            std::size_t trials = SIZE_MAX;
            for (std::size_t i = 0; i < counts.size(); ++i)
                for (std::size_t j = 0; j < counts[0].size(); ++j)
                    if (parts >> i & 1 && appraisers >> j & 1)
                        trials = std::min(trials, counts[i][j]);
            if (trials >= kLeastTrials && p > 1 && a > 1)
                best = std::max(best, Size{p * a, p, trials});
        }
    return best;
}

}  // namespace

class TestStatistics : public QObject {
    Q_OBJECT

    QTemporaryDir m_folder;
    unsigned m_minute = 0;

    /// A run of a device with all axes whose first encoder spanned `width` counts, a minute after the one before.
    QByteArray ran(const QString& serial, const QString& by, int width, bool calibrated = true) {
        Made made(7, serial);
        made.subject.operatorName = by;
        made.subject.date =
            QDateTime(QDate(2026, 2, 1), QTime(8, 0)).addSecs(60 * ++m_minute).toString("MMMM-dd-yyyy  hh-mm-ss-AP");
        made.verdicts.lMinEncoderVal[0] = -100;
        made.verdicts.lMaxEncoderVal[0] = width - 100;
        made.verdicts.bCalibrationPass = calibrated;
        made.print();
        return made.text;
    }
    static QString simplified(const QString& text) {
        QStringList lines;
        for (const QString& line : text.split('\n'))
            lines << line.simplified();
        return lines.join('\n');
    }

private slots:
    void tailOfF() {
        // With 2 degrees above it is (1 + 2f/n)^(-n/2); with 1 and 4 that of t: 1 - s(1 + c^2/2), tan = sqrt(f)/2.
        for (const double n : {1.0, 2.0, 7.0, 40.0, 5000.0})
            for (const double f : {0.01, 0.8, 1.0, 3.0, 12.0}) {
                QVERIFY(near(fTail(f, 2, n), std::pow(1 + 2 * f / n, -n / 2), 1e-10));
                QVERIFY(near(fTail(f, 5, n) + fTail(1 / f, n, 5), 1, 1e-10));
            }
        QVERIFY(near(fTail(4, 1, 4), 1 - std::sqrt(0.5) * 1.25) && near(fTail(1, 1, 4), 1 - 1.4 * std::sqrt(0.2)));
        QVERIFY(fTail(0, 3, 4) == 1 && fTail(INFINITY, 3, 4) == 0);
    }

    void chartOfIndividuals() {
        // Mean 76/5; squares from it 278.8; ranges 2, 1, 2, 17: 15.2 -+ 2.66 * 5.5.
        const Individuals chart = individualsChart({10, 12, 11, 13, 30});
        QVERIFY(near(chart.mean, 15.2) && near(chart.deviation, std::sqrt(69.7)));
        QVERIFY(near(chart.lowLimit, 0.57) && near(chart.highLimit, 29.83));
        QVERIFY(chart.isOutside(30) && !chart.isOutside(13));
        // Values that no double has exactly do not lie outside of themselves.
        QVERIFY(!individualsChart(std::vector<double>(7, 0.1)).isOutside(0.1));
    }

    void gaugeByHand() {
        // Two parts, two appraisers, two trials; the error is 2 on 4 degrees in each, what is squared is
        // EV^2, AV^2, PV^2.
        const struct {
            Values values;
            double f, repeat, reproduce, parts, categories;
            bool pooled;
        } rows[] = {// Means 11 12 21 26: squares 288, 18, 8; F = 8 / 2, p = 0.116: 2, (8-2)/2 + (18-8)/4, (288-8)/4.
                    {{{{10, 12}, {11, 13}}, {{20, 22}, {25, 27}}}, 4, 2, 5.5, 70, 4, false},
                    // Means 11 12 21 24: squares 242, 8, 2; F = 1, p = 0.374: (8+2)/5, (8-2)/4, (242-2)/4.
                    {{{{10, 12}, {11, 13}}, {{20, 22}, {23, 25}}}, 1, 2, 1.5, 60, 5, true},
                    // Means 11 11 21 21: squares 200, 0, 0: 8/5, below 0, (200-1.6)/4.
                    {{{{10, 12}, {10, 12}}, {{20, 22}, {20, 22}}}, 0, 1.6, 0, 49.6, 7, true}};
        for (const auto& row : rows) {
            const GaugeStudy study = gaugeStudy(row.values);
            QVERIFY(near(study.interactionF, row.f) && study.pooled == row.pooled);
            QVERIFY(study.interactionDegrees == 1 && study.errorDegrees == 4);
            QVERIFY(near(study.repeatability, std::sqrt(row.repeat)));
            QVERIFY(near(study.reproducibility, std::sqrt(row.reproduce)));
            QVERIFY(near(study.gauge, std::sqrt(row.repeat + row.reproduce)));
            QVERIFY(near(study.parts, std::sqrt(row.parts)));
            QVERIFY(near(study.total, std::sqrt(row.repeat + row.reproduce + row.parts)));
            QCOMPARE(study.categories.value(), row.categories);
        }
        const GaugeStudy same = gaugeStudy({{{0.1, 0.1, 0.1}, {0.1, 0.1, 0.1}}, {{0.7, 0.7, 0.7}, {0.7, 0.7, 0.7}}});
        QVERIFY(same.gauge == 0 && same.parts > 0 && !same.categories);
        // What only rounding makes is no interaction.
        QVERIFY(gaugeStudy({{{0.1, 0.1}, {0.2, 0.2}}, {{0.7, 0.7}, {0.8, 0.8}}}).pooled);
    }

    // Deviations of 5 between parts, 2 between appraisers, 1 of the pair, 3 of the trial: within a fifth, some three
    // deviations of the estimate of that with the fewest degrees of freedom.
    void gaugeOfKnownVariances() {
        std::mt19937 random(1);
        const auto normal = [&random](double deviation) {  // of twelve equal ones: the same numbers everywhere
            double sum = -6;
            for (int i = 0; i < 12; ++i)
                sum += static_cast<double>(random()) / 4294967296.0;
            return deviation * sum;
        };
        std::vector<double> appraisers(100);
        for (double& appraiser : appraisers)
            appraiser = normal(2);
        Values values(100, std::vector<std::vector<double>>(100));
        for (auto& part : values) {
            const double level = 30000 + normal(5);
            for (std::size_t a = 0; a < appraisers.size(); ++a)
                for (const double both = normal(1) + level + appraisers[a]; part[a].size() < 3;)
                    part[a].push_back(both + normal(3));
        }
        const GaugeStudy study = gaugeStudy(values);
        QVERIFY(!study.pooled && near(study.repeatability, 3, 0.1) && near(study.parts, 5, 1));
        QVERIFY(near(study.reproducibility, std::sqrt(5), 0.4));
    }

    void takesTheLargestSet() {
        std::mt19937 random(3);
        for (int round = 0; round < 2000; ++round) {
            std::vector<std::vector<std::size_t>> counts(2 + random() % 4, std::vector<std::size_t>(2 + random() % 4));
            for (auto& part : counts)
                for (std::size_t& count : part)
                    count = random() % 5;
            const std::optional<Balanced> found = largestBalanced(counts);
            QVERIFY((found ? Size{found->parts.size() * found->appraisers.size(), found->parts.size(), found->trials}
                           : Size{})
                    == bestSize(counts));
            std::size_t trials = SIZE_MAX;
            for (std::size_t p : found ? found->parts : std::vector<std::size_t>())
                for (std::size_t a : found->appraisers)
                    trials = std::min(trials, counts[p][a]);
            QVERIFY(!found || found->trials == trials);
        }
        // Of many appraisers those with the most parts.
        std::vector<std::vector<std::size_t>> many(9, std::vector<std::size_t>(30, 0));
        for (std::size_t part = 0; part < many.size(); ++part)
            many[part][part * 3] = many[part][28] = many[part][29] = 2;
        QVERIFY(largestBalanced(many)->appraisers == (std::vector<std::size_t>{28, 29}));
        QVERIFY(!largestBalanced({}));
    }

    void commandsOnAStore() {
        const QString where = m_folder.filePath("few.sqlite");
        Store store(where);
        for (const int width : {10, 12, 11, 13, 30})
            QVERIFY(store.add(ran("T", "Tom", width)));
        // The second of the rows by hand, with an older run each that is not taken, and what has to be left out.
        const QStringList two{"A", "B"};
        for (const QString& serial : two)
            QVERIFY(store.add(ran(serial, "Ann", 999)));
        const int widths[2][2][2] = {{{10, 12}, {11, 13}}, {{20, 22}, {23, 25}}};
        for (int p = 0; p < 2; ++p)
            for (int a = 0; a < 2; ++a)
                for (const int width : widths[p][a])
                    QVERIFY(store.add(ran(two[p], a == 0 ? "Ann" : "Ben", width, p == 0)));
        QVERIFY(store.add("no report\n") && store.add(ran("C", "", 50)));

        Choice choice;
        choice.serial = "T";
        const auto said = [&](const auto& command, int code = 0) { return simplified(outputOf(command, code)); };
        const Measure width = *measureNamed("counts-1");
        const QString trend = said([&](QTextStream& out) { return trendOf(store, width, choice, out); });
        QVERIFY2(trend.contains("\n5 2026-02-01 08:05:00 T 30 |####################| outside\n")
                     && trend.startsWith("1 2026-02-01 08:01:00 T 10 |# |\n"),
                 qPrintable(trend));
        QVERIFY2(trend.contains("n 5, mean 15.20, standard deviation 8.35, limits 0.57 to 29.83\n"
                                "runs outside the limits: 5\n"),
                 qPrintable(trend));
        QVERIFY(said([&](QTextStream& out) {
                    return trendOf(store, *measureNamed("counts-1-high"), choice, out);
                }).contains("n 5, mean -84.80"));

        const QString gauge = said([&](QTextStream& out) { return gaugeOf(store, width, {}, 60, out); });
        for (const char* line :
             {"2 serials: A, B\n2 operators: Ann, Ben\n", "the newest 2 runs",
              "left out serials T: fewer than 2 runs by Ann\n", "left out operators Tom: fewer than 2 runs of A\n",
              "left out 1 runs without", "F(1, 4) = 1.000, p = 0.374, above 0.25: pooled",
              "EV repeatability 1.41 8.49 17.75 14.14\n", "GRR both 1.87 11.22 23.48 18.71\n",
              "PV serials 7.75 46.48 97.21 77.46\n", "\nndc 5\n"})
            QVERIFY2(gauge.contains(line), qPrintable(line + ("\n" + gauge)));
        QCOMPARE(said([&](QTextStream& out) { return gaugeOf(store, width, choice, 0, out); }, 1).count('\n'), 1);

        const QString compared = said([&](QTextStream& out) { return compareSerials(store, "A", "B", out); });
        for (const char* line : {"serial A B\n", "newest run 11 15\n", "runs 5 5\n",
                                 "counts-1 -100 -87 13 -100 -75 25 12 92.31\n", "CALIBRATION"})
            QVERIFY2(compared.contains(line), qPrintable(line + ("\n" + compared)));
        QCOMPARE(compared.count("PASS FAIL"), 1);
        QVERIFY_EXCEPTION_THROWN(said([&](QTextStream& out) { return compareSerials(store, "A", "Z", out); }),
                                 StoreError);

        for (int more = 0; more < kTrendRuns; ++more)
            QVERIFY(store.add(ran("T", "Tom", 20)));
        QVERIFY(said([&](QTextStream& out) {
                    return trendOf(store, width, choice, out);
                }).contains("the newest 200 of 205 runs; --newest N takes more\nn 200, mean 20.00"));

        const struct {
            QStringList arguments;
            int code;
            const char* said;
        } rows[] = {
            {{"trend", "counts-1", "--serial", "T", "--newest", "3", "--until", "2026-02-01"}, 0, "n 3, mean 20.00"},
            {{"trend", "counts-7"}, 2, "counts-1 to counts-6"},
            {{"gauge", "counts-1", "--tolerance", "nan"}, 2, "--tolerance"},
            {{"gauge", "counts-1", "--tolerance", "60"}, 0, "14.14"},
            {{"compare", "A"}, 2, "no such command"},
            {{"compare", "A", "Z"}, 1, "no understood run"}};
        for (const auto& row : rows) {
            QProcess program;
            program.setProcessChannelMode(QProcess::MergedChannels);
            program.start(NOLVA_RECORDS_PROGRAM, row.arguments + QStringList{"--db", where});
            QVERIFY(program.waitForFinished());
            const QByteArray text = program.readAll();
            QVERIFY2(program.exitCode() == row.code && text.contains(row.said), text);
        }
    }
};

QTEST_GUILESS_MAIN(TestStatistics)
#include "tst_statistics.moc"
