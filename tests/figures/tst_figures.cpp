// How the figures of a benchmark are judged and compared, and that a damaged file of them is refused.
#include <QTest>

#include "report.h"

class FiguresTest : public QObject {
    Q_OBJECT

private slots:
    void verdicts() {
        const Reading none = Reading::none("no tool");
        using Row = std::tuple<const char*, Aim, std::vector<Reading>, Verdict>;
        const Row rows[] = {
            {"the median counts, not the worst round", atMost(2), {1, 2, 9}, Verdict::Met},
            {"below a least", atLeast(2), {1, 1, 9}, Verdict::Missed},
            {"a sum sees what a median does not", togetherAtMost(0), {0, 0, 1, 0, 0}, Verdict::Missed},
            {"no round", atMost(2), {}, Verdict::NotMeasured},
            {"one round without a number", atMost(2), {1, none, 1}, Verdict::NotMeasured},
            {"a ratio to what was not measured", atMost(2), {Reading(1) / none}, Verdict::NotMeasured},
            {"a ratio to zero", atMost(2), {Reading(1) / Reading(0)}, Verdict::NotMeasured},
        };
        for (const auto& [what, aim, rounds, verdict] : rows) {
            Value value{"v", "", aim, {}, {}};
            for (const Reading& round : rounds)
                value.add(round);
            QVERIFY2(value.verdict() == verdict, what);
        }
    }

    void changesAfterBeingKept() {
        using Kind = Change::Kind;
        // clang-format off
        const struct { Aim aim; std::vector<double> before, after; Kind kind; } rows[] = {
            {atMost(9), {1, 3}, {4, 5}, Kind::Worse}, {atLeast(0), {1, 3}, {4, 5}, Kind::Better},
            {atMost(9), {4, 5}, {1, 3}, Kind::Better}, {atMost(9), {1, 4}, {4, 5}, Kind::Within},
            {atMost(9), {1, 4}, {}, Kind::NotComparable}};
        // clang-format on
        for (const auto& row : rows) {
            const auto keptAs = [&row](const std::vector<double>& samples) {
                Run run;
                run.figures = {{"t", "s", "c", {{"v", "ms", row.aim, samples, samples.empty() ? "no tool" : ""}}}};
                return parseRun(jsonOf(run), "file").figures;
            };
            const std::vector<Change> changes = compare(keptAs(row.before), keptAs(row.after));
            QVERIFY(changes.size() == 1 && changes.front().kind == row.kind);
        }
    }

    void damagedFiles() {
        std::string whole = jsonOf({});
        for (const std::string& text : {std::string(), std::string("{}"), whole.substr(0, whole.size() / 2),
                                        whole.replace(whole.find("\"repeats\": 0"), 12, "\"repeats\": \"\"")})
            QVERIFY_EXCEPTION_THROWN(parseRun(text, "file"), std::runtime_error);
    }
};

QTEST_APPLESS_MAIN(FiguresTest)
#include "tst_figures.moc"
