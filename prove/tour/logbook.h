// What a tour did: steps with verdict, time and picture, as one page that needs nothing beside it.
#pragma once

#include <QByteArray>
#include <QString>
#include <vector>

class QWidget;

/// One step of a flow.
struct TourStep {
    QString flow;  ///< the device, as a heading
    QString name;
    QString verdict;     ///< what went wrong; empty when nothing did
    QString note;        ///< what is worth saying beside the verdict
    double seconds = 0;  ///< of the arm
    QByteArray picture;  ///< PNG, may be empty
};

class Logbook {
public:
    explicit Logbook(const QString& title) : m_title(title) {}

    /// Takes a picture of the window as it is painted now.
    static QByteArray photograph(QWidget& window);

    void add(TourStep step) { m_steps.push_back(std::move(step)); }
    void addReport(const QString& flow, const QString& text) { m_reports.push_back({flow, text}); }
    const std::vector<TourStep>& steps() const { return m_steps; }
    int failures() const;
    /// A sentence ahead of all steps.
    void open(const QString& sentence) { m_opening = sentence; }
    /// Ends the page with this sentence, as where the tour was broken off.
    void close(const QString& sentence) { m_closing = sentence; }

    /// Writes "<number>-<step>.png" for each picture, each report, and index.html into the folder. False when
    /// something cannot be written.
    bool write(const QString& folder) const;

private:
    QByteArray html() const;

    struct Report {
        QString flow, text;
    };
    QString m_title, m_opening, m_closing;
    std::vector<TourStep> m_steps;
    std::vector<Report> m_reports;
};
