// The configured devices, the open one marked, and where the list comes from.
#pragma once

#include <QJsonObject>
#include <QWidget>

#include "armlink.h"
#include "armstate.h"

class LineLabel;
class QTreeWidget;

class FleetList : public QWidget {
    Q_OBJECT

public:
    explicit FleetList(ArmLink& link, QWidget* parent = nullptr);

    /// Marks the open device; one that the list does not know asks for it anew.
    void showState(const ArmState& state);
    /// Asks the arm for the list.
    void refresh();

private:
    void takeList(const QJsonObject& answer);
    void markOpen();

    ArmLink& link_;
    QString open_;  // name of the open device, or empty
    bool asked_ = false;
    QTreeWidget* list_;
    LineLabel* source_;
};
