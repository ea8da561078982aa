// The small picture of the arm: a linkage of boxes and cylinders in the pose of the device it follows.
// Graphical thread only.
#pragma once

#include <QColor>
#include <QOpenGLFunctions>
#include <QOpenGLWidget>
#include <QSize>
#include <QTimer>

class GLUquadric;

class qtTharlenDraw : public QOpenGLWidget, protected QOpenGLFunctions {
    Q_OBJECT

public:
    /// Follows the device at about 30 frames a second from here on; an id below 0 shows nothing.
    explicit qtTharlenDraw(int deviceId, QWidget* parent = nullptr);
    ~qtTharlenDraw() override;

    QSize sizeHint() const override;
    void changeTharlenInstance(int deviceId);

    /// Refreshes angles and switches. Errors of the device are not looked at.
    void getDeviceParams();
    /// Angles in degrees, with the picture's signs; `switch2` is -1 where the model has none.
    void drawTharlen(float* angles, int switch1, int switch2, int inkwell);
    /// Box about the origin: extent `a` along z, `b` along y, `c` along x.
    void drawCube(double a, double b, double c);
    /// Closed cylinder about the origin, along y. Leaves its transforms on the matrix, and drawTharlen counts on
    /// it: afterwards z is the cylinder's axis and the origin its far end, the lower one.
    void drawCylinder(double radius, double height);
    /// Closed cone with its point up; leaves its transforms as drawCylinder does. Nothing calls it.
    void drawCone(double radius, double height);
    /// Cross of coloured axes. Nothing calls it.
    void drawAxis();
    /// Six values as text over the picture, each moved or turned by itself. From within paintGL only. Nothing
    /// calls it.
    void draw_text(double x, double y, float* values);

    QTimer* ptimer = nullptr;
    int cs_DeviceID = -1;
    bool b_timerstarted = false;  ///< not used
    QWidget* pParent = nullptr;   ///< not used
    QSize window_size;
    GLUquadric* m_pQuadObj = nullptr;
    float pJangle[6] = {};  ///< degrees: base, then gimbal
    int pSwitch1 = 0;
    int pSwitch2 = -1;                                       ///< -1 where the model has none
    int pInkwell = 0;                                        ///< not drawn
    QColor trolltechGreen, trolltechWhite, trolltechPurple;  ///< not in the picture
    int colorR = 0, colorG = 0, colorB = 0;                  ///< not in the picture

protected:
    void initializeGL() override;
    void resizeGL(int w, int h) override;
    void paintGL() override;

private:
    void setUpState();
    void setUpLight();
    void drawButton(int pressed, double z);
    void releaseGL();
};
