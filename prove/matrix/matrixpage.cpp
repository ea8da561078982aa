// The page of a detection matrix: an overview of all devices, a picture of each, reasons and findings in words.
#include <QDateTime>

#include "matrixreport.h"

namespace {

constexpr char kStyle[] = R"(
body { font: 15px/1.45 sans-serif; color: #223; background: #f6f7f9; margin: 2em auto; max-width: 1240px; padding: 0 1em }
h1 { font-size: 1.5em } h2 { font-size: 1.15em; margin: 2em 0 .6em; border-bottom: 2px solid #3d6487 }
table { border-collapse: collapse; background: #fff } th { font-weight: 600 }
table.picture th, table.picture td { border: 1px solid #cfd6dd; padding: .15em .4em; font-size: .88em }
table.picture thead th { vertical-align: bottom; max-width: 5.4em; background: #eef1f4; line-height: 1.2 }
table.picture tbody th { text-align: left; white-space: nowrap; font-weight: 400 }
table.picture td { text-align: center; min-width: 3.6em; white-space: nowrap; font-weight: 600 }
td.meant { background: #8fd19e; color: #0b3d17 } td.other { background: #cfe6f7; color: #123a57 }
td.blind { background: #eceef0; color: #77818b } td.none { background: #fff; color: #b4bac0 }
td.ok { background: #e3f4e6; color: #2a5d35; font-weight: 400 } td.bad { background: #a4161a; color: #fff }
.legend span { display: inline-block; padding: .1em .6em; margin: 0 .3em .3em 0; border: 1px solid #cfd6dd }
.legend .meant { background: #8fd19e } .legend .other { background: #cfe6f7 } .legend .blind { background: #eceef0 }
.legend .ok { background: #e3f4e6 } .legend .bad { background: #a4161a; color: #fff } .legend .none { background: #fff }
table.reasons td, table.reasons th { text-align: left; vertical-align: top; padding: .3em .7em }
table.reasons td { border-bottom: 1px solid #d5dae0; font-size: .92em }
.good { color: #06712b } .wrong { color: #a4161a; font-weight: bold } li { margin: .2em 0 }
details { margin: .8em 0 } summary { cursor: pointer; font-weight: 600 } .scroll { overflow-x: auto }
)";

constexpr char kLegend[] =
    "<p class=\"legend\"><span class=\"meant\"><b>P O B</b> found by the test meant for it</span>"
    "<span class=\"other\"><b>p o b</b> found by another test</span><span class=\"blind\"><b>·</b> not visible by "
    "design</span><span class=\"none\"><b>–</b> no such part, or no such test</span><span class=\"ok\"><b>ok n</b> "
    "healthy runs without an alarm</span><span class=\"bad\"><b>M</b> missed, <b>F</b> false alarm, <b>X</b> "
    "crashed, "
    "<b>?</b> not played</span><br>P: the program said it. O: the operator saw or felt it, against a healthy arm. "
    "B: "
    "both. A fraction: in so many of the runs; to the others it is not visible. Rest the pointer on a cell for "
    "what was said.</p>\n<p>The application itself offers the user flow, Select to Servoloop, without verdicts of the "
    "program. Verdicts, Summary, Test Friction, Test Capstan and Encoder Test are offered by nolva-bench; Calibration "
    "Details and Gimbal Trace by neither: here they are put in place for the test.</p>\n";

QString list(const QStringList& items) {
    QString html;
    for (const QString& item : items)
        html += "<li>" + item.toHtmlEscaped() + "</li>\n";
    return "<ul>\n" + html + "</ul>\n";
}

QString rowName(int row) { return row < 0 ? QString("healthy") : faultCases()[static_cast<std::size_t>(row)].name(); }

}  // namespace

QString MatrixReport::htmlTable(const QString& device) const {
    const QList<Test> tests = testsOf(device);
    QString html = "<div class=\"scroll\"><table class=\"picture\"><thead><tr><th>fault</th>";
    for (const Test test : tests)
        html += "<th>" + testName(test) + "</th>";
    html += "</tr></thead>\n<tbody>";
    for (const int row : m_rows) {
        html += "<tr><th>" + rowName(row).toHtmlEscaped() + "</th>";
        for (const Test test : tests) {
            const Place at = place(device, row, test);
            const QString hint = (at.details + at.reasons).join('\n');
            html += "<td class=\"" + at.style() + "\""
                    + (hint.isEmpty() ? QString() : " title=\"" + hint.toHtmlEscaped() + "\"") + ">" + at.mark()
                    + "</td>";
        }
        html += "</tr>\n";
    }
    return html + "</tbody></table></div>\n";
}

/// Case by case, with the tests that share a reason.
QString MatrixReport::htmlReasons() const {
    QString html = "<table class=\"reasons\"><tr><th>Fault</th><th>Not visible to</th><th>because</th></tr>\n";
    const QList<Test> tests = testsOf(QString());
    for (const int row : m_rows) {
        QMap<QString, QStringList> byReason;
        for (const Test test : tests) {
            for (const QString& reason : place(QString(), row, test).reasons)
                byReason[reason] << testName(test);
        }
        bool first = true;
        for (auto it = byReason.begin(); it != byReason.end(); ++it) {
            html += "<tr><td>" + (first ? rowName(row).toHtmlEscaped() : QString()) + "</td><td>" + it->join(", ")
                    + "</td><td>" + it.key().toHtmlEscaped() + "</td></tr>\n";
            first = false;
        }
    }
    return html + "</table>\n";
}

QByteArray MatrixReport::html() const {
    const QString title = "Nolva Diagnostic: which test finds which fault";
    QString page = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>" + title
                   + "</title><style>" + kStyle + "</style></head><body>\n<h1>" + title + "</h1>\n<p>"
                   + QDateTime::currentDateTime().toString(Qt::ISODate) + ". "
                   + (good() ? QString("<span class=\"good\">No miss and no false alarm.</span>")
                             : QString("<span class=\"wrong\">Findings: %1%2.</span>")
                                   .arg(m_findings.size())
                                   .arg(m_total[static_cast<int>(Outcome::NotPlayed)] > 0 ? "; broken off" : ""))
                   + " " + totals().toHtmlEscaped() + "</p>\n" + QString::fromUtf8(kLegend);
    page += "<h2>All devices</h2>\n" + htmlTable(QString()) + "<h2>Findings</h2>\n"
            + (m_findings.isEmpty() ? QString("<p class=\"good\">None.</p>\n") : list(m_findings));
    if (!m_unseen.isEmpty())
        page += "<h2>Found by no test</h2>\n<p>By design no test of the line sees it: what the tests leave open.</p>\n"
                + list(m_unseen);
    page += "<h2>Device by device</h2>\n";
    for (const QString& device : m_devices)
        page += "<details><summary>" + device.toHtmlEscaped() + "</summary>\n" + htmlTable(device) + "</details>\n";
    page += "<h2>Not visible by design</h2>\n" + htmlReasons();
    if (!m_surprises.isEmpty())
        page += "<h2>Called not visible, and found</h2>\n<p>No failure: more was found than asked for.</p>\n"
                + list(m_surprises);
    return (page + "</body></html>\n").toUtf8();
}
