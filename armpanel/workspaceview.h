// One view of the workspace: the box, the endpoint, the hand and the force; the stylus is dragged in it, or
// moved by the keys as the picture shows it.
#pragma once

#include <QWidget>

#include "armstate.h"

class WorkspaceView : public QWidget {
    Q_OBJECT

public:
    enum class Side {
        Front,  ///< X right, Y up; the wheel moves Z
        Above,  ///< X right, Z down, towards the operator; the wheel moves Y
    };

    explicit WorkspaceView(Side side, QWidget* parent = nullptr);

    void showState(const ArmState& state);
    /// Nothing but the guides: no arm.
    void clear();
    QSize sizeHint() const override { return {266, 266}; }
    QSize minimumSizeHint() const override { return {200, 200}; }

signals:
    /// The hand is to pull to these coordinates (mm) of these axes, the third as it is.
    void dragged(int axisAcross, double across, int axisAlong, double along);
    void nudged(int axis, double mm);
    void originWanted();
    void letGo();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    int along() const { return side_ == Side::Front ? 1 : 2; }
    int depth() const { return side_ == Side::Front ? 2 : 1; }
    double downwards() const { return side_ == Side::Front ? -1.0 : 1.0; }  // of the axis along the height
    double backwards() const { return side_ == Side::Front ? -1.0 : 1.0; }  // of the depth: what Page Up does
    QRectF field() const;
    QPointF toScreen(const Vec3& point) const;
    void chooseRange();
    void dragTo(const QPointF& point);
    void paintGuides(QPainter& painter) const;
    void paintScale(QPainter& painter) const;
    void paintArm(QPainter& painter) const;
    void paintTexts(QPainter& painter) const;
    QString place() const;
    void nameView();

    Side side_;
    ArmState state_;
    bool hasState_ = false;
    double range_;       // mm from the middle to the edge
    int wheelLeft_ = 0;  // eighths of a degree short of a notch
    bool dragging_ = false;
};
