// What is to be done with the next device, and the word of the advanced modes.
#pragma once

#include <QDialog>
#include <QTimer>
#include <vector>

#include "flows.h"
#include "kept.h"

class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class qtTharlenTest;

/// Stands before a window that is not shown yet and goes through its gate for it: accepted once the gate is open.
/// Graphical thread.
class StartDialog : public QDialog {
    Q_OBJECT

public:
    /// The window has to live as long.
    StartDialog(qtTharlenTest& window, const Kept& kept, QWidget* parent = nullptr);
    const Flow& flow() const;
    /// Whether friction and capstan belong to the flow, on a line that has them.
    bool mechanics() const;
    /// How long one has to wait after so many wrong words, s; nothing after the first two.
    static int pauseAfter(int wrongWords);

private slots:
    void chooseFlow();
    void start();
    void showReport();
    /// A second of a pause has passed.
    void waitOn();

private:
    QWidget* deviceBefore(const Kept& kept);
    QWidget* flowRows(const Kept& kept);
    QWidget* wordRow();

    qtTharlenTest& m_window;
    std::vector<QRadioButton*> m_flows;  ///< as Flow::all
    QCheckBox* m_mechanics;
    QLabel* m_ends;
    QLineEdit* m_word;
    QLabel* m_answer;
    QString m_reportTime;  ///< of the device before
    QPushButton* m_start;
    QTimer m_pause;
    int m_wrongWords = 0;
    int m_pauseLeft = 0;  ///< s
};
