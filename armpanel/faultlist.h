// What can be wrong with the arm, with a check box each; below it what the selected one means, its axis and
// amount.
#pragma once

#include <QJsonArray>
#include <QVector>
#include <QWidget>

#include "armlink.h"
#include "armstate.h"

class QDoubleSpinBox;
class QLabel;
class QSpinBox;
class QTreeWidget;
class QTreeWidgetItem;

class FaultList : public QWidget {
    Q_OBJECT

public:
    explicit FaultList(ArmLink& link, QWidget* parent = nullptr);

    /// Asks for the list anew when others have switched a fault.
    void showState(const ArmState& state);
    /// A new connection may be another arm.
    void refresh();

private:
    struct Fault {
        QString name, unit, text;
        bool on = false;
        int axis = -1;  // -1 is all
        double amount = 0.0;
        bool heading = false;  // a row between groups, which is nothing to switch
        bool chosen = false;   // axis and amount were chosen here, and hold until the fault is cleared
    };

    void takeList(const QJsonArray& faults);
    static QVector<QJsonObject> withHeading(const QJsonArray& faults);
    void takeRow(const QJsonObject& json, Fault& fault) const;
    void showRow(int row);
    void showSelected();
    void changed(QTreeWidgetItem* item);
    void choose();
    void set(int row, bool on);
    void clearAll();

    ArmLink& link_;
    QVector<Fault> faults_;
    QStringList known_;  // names of those that are on, as last listed
    bool asked_ = false, listed_ = false, filling_ = false;
    QTreeWidget* list_;
    QLabel* text_;
    QSpinBox* axis_;
    QDoubleSpinBox* amount_;
};
