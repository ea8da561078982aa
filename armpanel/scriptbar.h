// The row of buttons that records what the hand does, keeps it in files and plays it.
#pragma once

#include <QWidget>

#include "handrecorder.h"
#include "handwishes.h"

class LineLabel;
class QBoxLayout;
class QPushButton;

class ScriptBar : public QWidget {
    Q_OBJECT

public:
    ScriptBar(ArmLink& link, HandWishes& hand, QWidget* parent = nullptr);

    /// Without an arm nothing is recorded or played; what was recorded until then stays and can be saved.
    void setCondition(ArmLink::Condition condition);

    /// The line of text below the buttons, or beside them.
    void setNarrow(bool narrow);
    bool isRecording() const { return recorder_.isRunning(); }

    /// Reads a script to be played. A file with an error leaves none, and the row says what is wrong where.
    bool load(const QString& path);
    bool save(const QString& path);
    /// Asks about a recording that is in no file yet; false where the operator wants to keep it.
    bool mayDrop();

signals:
    /// A file that cannot be read, played or written: a sentence for the operator.
    void failed(const QString& sentence);

private:
    QPushButton* add(const QString& text, const char* key, const QString& tip, const std::function<void()>& act);
    void record();
    void play();
    void stop();
    void open();
    bool askAndSave();
    void takeRecording();
    QString line() const;
    void showAll();
    void fail(const QString& path, const QString& why);

    HandWishes& hand_;
    HandRecorder recorder_;
    HandScript script_;
    QString name_, path_;  // of the script; the file used last
    QString stepLabel_;    // of the step that plays, or played last
    QString note_;         // how the last action ended; until the next one
    bool connected_ = false, playing_ = false, unsaved_ = false;
    QPushButton *record_, *play_, *stop_, *open_, *save_;
    LineLabel* text_;
    QBoxLayout *row_, *buttons_;
};
