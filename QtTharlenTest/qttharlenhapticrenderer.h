// The 3D scene of the haptic tests: the stylus as a cursor in a box whose walls turn green once they have been
// pushed through often enough, or a gimbal shape that follows the stylus. It draws; it computes no force.
//
// The servo thread writes the Shared fields, painting reads them: a torn pair costs one frame.
#pragma once

#include <QColor>
#include <QOpenGLFunctions>
#include <QOpenGLWidget>
#include <QSize>
#include <QTimer>

#include "handover.h"

class GLUquadric;

class qtTharlenHapticRenderer : public QOpenGLWidget, protected QOpenGLFunctions {
    Q_OBJECT

public:
    qtTharlenHapticRenderer(int tharlenID, QWidget* parent);
    ~qtTharlenHapticRenderer() override;

    QSize sizeHint() const override;
    /// Follows another device (its handle) as another scene: 0 cursor and box, 1 gimbal shape, else nothing.
    void changeTharlenInstance(int tharlenID, int renderType);
    /// Starts painting at 33 ms. Walls are evaluated in manufacturing mode alone.
    void startTest(bool manufacturing);
    /// Forgets all walls and stops painting.
    void stopTest();
    /// True when wall 0 to 5 (+X, -X, +Y, -Y, +Z, -Z) was pushed through more than twice.
    bool wallPassed(int wall) const;
    /// Takes over the walls that have been passed, and whether all have. Runs with each frame.
    void graphicsCallback();
    void getDeviceParams();
    /// Nothing without a context, before the first frame; makes the context current where it is not.
    void genBoxDisplayList();
    void genGimbalDisplayList();

    QTimer* graphicTimer = nullptr;          ///< frames; its timeout goes to update()
    SharedArray<float, 3> m_fForces;         ///< written by nothing
    Shared<bool> m_bBrokeOutOfBox;           ///< from a pop-through until the force is zero again
    Shared<int> m_nBrokeBoxTicks;            ///< servo ticks over the force limit
    SharedArray<float, 3> pPos;              ///< cursor, mm
    Shared<int> m_PopThruRequirement;        ///< break-outs wanted; read by nothing
    SharedArray<int, 6> m_nWallTransitions;  ///< pop-throughs a wall
    Shared<bool> m_bPassTest;                ///< all six walls have been passed
    Shared<float> m_afBoxStiffness;          ///< factor of the walls' gain
    int m_renderType = 0;
    int cs_DeviceID = -1;  ///< whose stylus is drawn
    bool manufacturingMode = false;
    // A palette that the scene itself does not use.
    QColor trolltechYellow, trolltechPurple, trolltechCyan, trolltechGreen, trolltechGrey;
    QSize window_size;
    float fEndPointTransform[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};  ///< column-major
    GLfloat* endPtTransform = &fEndPointTransform[0][0];
    GLUquadric* m_quadObj = nullptr;      ///< spheres
    GLUquadric* m_quadObj_cyl = nullptr;  ///< gimbal shape; lives while its list is built
    GLuint m_dlCube = 0;
    GLuint m_dlCursor = 0;
    GLuint m_dlGimbal = 0;
    double m_fCursorSize = 1.0;
    double m_fCursorRadius = 2.0;                   ///< mm
    double m_fViewerDistance = 80.0;                ///< mm; the box is centred this far ahead of the origin
    bool m_bWallPassed[6] = {};                     ///< as shown
    float m_fBoxMin[3] = {-20.0f, -20.0f, -20.0f};  ///< mm, the drawing's own
    float m_fBoxMax[3] = {20.0f, 20.0f, 20.0f};     ///< mm

protected:
    void initializeGL() override;
    void resizeGL(int w, int h) override;
    void paintGL() override;

private:
    void setUpScene();
    void clearWalls();
    void genCursorDisplayList();
    void wallQuad(int wall);
    void marker(float x, float y, float z);
    void releaseGL();
};
