// The picture of the arm: reads the device's pose each frame and draws it with fixed-function OpenGL.
#include "qttharlendraw.h"

#include <GL/glu.h>

#include <QOpenGLContext>
#include <QPainter>
#include <cstdlib>
#include <ctime>

#include "device/tharlenio.h"
#include "fillparent.h"

namespace {

constexpr int kFrame = 33;            ///< ms
constexpr double kRoundPi = 3.14159;  ///< Meant: rounded

float degrees(float radians) { return static_cast<float>(radians * 180.0 / kRoundPi); }

}  // namespace

qtTharlenDraw::qtTharlenDraw(int deviceId, QWidget* parent)
    : QOpenGLWidget(parent), ptimer(new QTimer(this)), cs_DeviceID(deviceId) {
    prepareScene(this, Fill::All);
    connect(ptimer, &QTimer::timeout, this, QOverload<>::of(&QWidget::update));
    ptimer->start(kFrame);
}

qtTharlenDraw::~qtTharlenDraw() {
    ptimer->stop();
    delete ptimer;
    releaseGL();
}

QSize qtTharlenDraw::sizeHint() const { return {200, 250}; }

void qtTharlenDraw::changeTharlenInstance(int deviceId) { cs_DeviceID = deviceId; }

// Without a gimbal its switches and its three angles keep what they last were; the angles are then in degrees
// already and are not converted again.
void qtTharlenDraw::getDeviceParams() {
    const bool gimbal = tharlen_check_for_gimbal(cs_DeviceID) != 0;
    if (gimbal) {
        pSwitch1 = get_stylus_switch(cs_DeviceID, 0);
        const QString model = QString::fromLatin1(get_tharlen_model_type(cs_DeviceID));
        const bool twoButtons = model == QLatin1String("THARLEN Orda") || model == QLatin1String("Nolva");
        pSwitch2 = twoButtons ? get_stylus_switch(cs_DeviceID, 1) : -1;
        pInkwell = get_inkwell_switch(cs_DeviceID);
    }
    get_tharlen_encoders(cs_DeviceID, pJangle);
    if (gimbal)
        get_gimbal_encoders(cs_DeviceID, pJangle + 3);
    for (int i = 0; i < (gimbal ? 6 : 3); ++i)
        pJangle[i] = degrees(pJangle[i]);
    pJangle[1] = -pJangle[1];
    pJangle[2] = -pJangle[2] - pJangle[1];  // the third link's angle is absolute in the picture
    if (gimbal) {
        pJangle[3] = -pJangle[3];
        pJangle[4] = -pJangle[4];
    }
}

void qtTharlenDraw::initializeGL() {
    initializeOpenGLFunctions();
    // A picture that moves to another window gets a new context; what belongs to the old one goes with it.
    connect(context(), &QOpenGLContext::aboutToBeDestroyed, this, &qtTharlenDraw::releaseGL, Qt::UniqueConnection);
    trolltechGreen = QColor::fromCmykF(0.4, 0, 0, 0, 1);
    trolltechWhite = QColor::fromCmyk(0, 0, 0, 0, 255);
    trolltechPurple = QColor::fromCmykF(0.39, 0.39, 0, 0, 1);
    setUpState();
    setUpLight();
    m_pQuadObj = gluNewQuadric();
    gluQuadricNormals(m_pQuadObj, GLU_SMOOTH);
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    colorR = std::rand() % 255;
    colorG = std::rand() % 255;
    colorB = std::rand() % 255;
    if (window_size.isValid())
        resizeGL(window_size.width(), window_size.height());  // no resize tells a second context the size
}

void qtTharlenDraw::setUpState() {
    glClearColor(0.5f, 0.5f, 0.5f, 0.5f);
    glDepthFunc(GL_LEQUAL);
    glEnable(GL_DEPTH_TEST);
    glCullFace(GL_BACK);
    glEnable(GL_CULL_FACE);
    glEnable(GL_TEXTURE_2D);
    glClearDepthf(1.0f);
    glEnable(GL_LIGHTING);
    glEnable(GL_COLOR_MATERIAL);
    glEnable(GL_NORMALIZE);
    glShadeModel(GL_SMOOTH);
}

void qtTharlenDraw::setUpLight() {
    constexpr GLfloat kAmbient[] = {0.3f, 0.3f, 0.3f, 1.0f};
    constexpr GLfloat kDiffuse[] = {0.8f, 0.8f, 0.8f, 1.0f};
    constexpr GLfloat kTowardsLight[] = {0.0f, -0.4f, 1.0f, 0.0f};
    constexpr GLfloat kSpecular[] = {1.0f, 1.0f, 1.0f, 1.0f};
    glLightModeli(GL_LIGHT_MODEL_LOCAL_VIEWER, GL_TRUE);
    glLightModeli(GL_LIGHT_MODEL_TWO_SIDE, GL_TRUE);
    glLightModelfv(GL_LIGHT_MODEL_AMBIENT, kAmbient);
    glLightfv(GL_LIGHT0, GL_DIFFUSE, kDiffuse);
    glLightfv(GL_LIGHT0, GL_POSITION, kTowardsLight);
    glEnable(GL_LIGHT0);
    glColorMaterial(GL_FRONT, GL_AMBIENT_AND_DIFFUSE);
    glMaterialfv(GL_FRONT, GL_SPECULAR, kSpecular);
    glMaterialf(GL_FRONT, GL_SHININESS, 128.0f);
}

// The viewport stays as the toolkit sets it.
void qtTharlenDraw::resizeGL(int w, int h) {
    const double aspect = h > 0 ? static_cast<double>(w) / h : 1.0;
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    gluPerspective(45.0, aspect, 0.1, 1000.5);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    gluLookAt(0, 0, 120.0, 0, 0, 0, 0, 1, 0);
    window_size = QSize(w, h);
}

// No clear here, on purpose: the toolkit clears the buffers to the clear colour before each frame.
void qtTharlenDraw::paintGL() {
    if (cs_DeviceID < 0)
        return;
    getDeviceParams();
    glPushMatrix();
    glColor3f(1, 1, 1);
    drawTharlen(pJangle, pSwitch1, pSwitch2, pInkwell);
    glPopMatrix();
}

// One chain: each step stands in the frame that the steps before it left.
void qtTharlenDraw::drawTharlen(float* angles, int switch1, int switch2, int /*inkwell*/) {
    // Base plate
    glPushMatrix();
    glTranslatef(0, -15, 0);
    drawCube(40, 5, 50);
    // Turret foot
    glPushMatrix();
    glTranslatef(0, 4, 0);
    drawCylinder(15, 8);
    // Turret
    glPushMatrix();
    glTranslatef(0, 0, -23);
    glRotatef(90, 0, 0, 1);
    glRotatef(angles[0], 0, 0, 1);
    drawCylinder(15, 13);
    // Upper arm
    glPushMatrix();
    glRotatef(angles[1], 0, 0, 1);
    glTranslatef(17, 0, -6.5f);
    glRotatef(-90, 0, 1, 0);
    glRotatef(90, 0, 0, 1);
    drawCube(34, 4, 9);
    // Elbow
    glPushMatrix();
    glTranslatef(0, 0, -17);
    drawCylinder(5, 6);
    // Forearm
    glPushMatrix();
    glRotatef(angles[2], 0, 0, 1);
    glTranslatef(17, 0, -3);
    glRotatef(90, 0, 0, 1);
    drawCylinder(1.5, 34);
    // Wrist
    glPushMatrix();
    glRotatef(angles[3], 0, 0, 1);
    glRotatef(angles[4], 0, 1, 0);
    glRotatef(angles[5], 1, 0, 0);
    if (tharlen_check_for_gimbal(cs_DeviceID)) {
        // Stylus
        glTranslatef(-7.5f, 0, 0);
        glRotatef(90, 0, 0, 1);
        drawCylinder(1.3, 15);
        drawButton(switch1, -5);
        if (switch2 != -1)
            drawButton(switch2, -8);
    }
    for (int step = 0; step < 7; ++step)
        glPopMatrix();
}

/// A pressed button is green and sits one unit further out.
void qtTharlenDraw::drawButton(int pressed, double z) {
    glPushMatrix();
    if (pressed > 0)
        glColor3f(0, 1, 0);
    else
        glColor3f(1, 1, 1);
    glTranslated(0, pressed - 1.95, z);
    drawCube(2, 2, 2);
    glPopMatrix();
}

void qtTharlenDraw::drawCube(double a, double b, double c) {
    // Faces by the axis they stand on, both signs; corners counter-clockwise from outside.
    const double half[3] = {c / 2, b / 2, a / 2};
    glBegin(GL_TRIANGLES);
    for (int axis = 0; axis < 3; ++axis) {
        const int u = (axis + 1) % 3;
        const int v = (axis + 2) % 3;
        for (int sign : {1, -1}) {
            GLdouble normal[3] = {};
            normal[axis] = sign;
            glNormal3dv(normal);
            GLdouble corners[4][3];
            for (int i = 0; i < 4; ++i) {
                corners[i][axis] = sign * half[axis];
                corners[i][u] = (i == 1 || i == 2 ? sign : -sign) * half[u];
                corners[i][v] = (i < 2 ? -1 : 1) * half[v];
            }
            for (int i : {0, 1, 2, 0, 2, 3})
                glVertex3dv(corners[i]);
        }
    }
    glEnd();
}

void qtTharlenDraw::drawCylinder(double radius, double height) {
    glTranslated(0, height / 2, 0);
    glRotatef(90, 1, 0, 0);
    gluCylinder(m_pQuadObj, radius, radius, height, 24, 24);
    glPushMatrix();
    glRotatef(180, 1, 0, 0);
    gluDisk(m_pQuadObj, 0, radius, 24, 24);
    glPopMatrix();
    glTranslated(0, 0, height);
    gluDisk(m_pQuadObj, 0, radius, 24, 24);
}

void qtTharlenDraw::drawCone(double radius, double height) {
    glTranslated(0, height / 2, 0);
    glRotatef(90, 1, 0, 0);
    gluCylinder(m_pQuadObj, 0, radius, height, 25, 25);
    glTranslated(0, 0, height);
    gluDisk(m_pQuadObj, 0, radius, 25, 25);
}

void qtTharlenDraw::drawAxis() {
    glPushMatrix();
    glTranslatef(7, 10, 0);
    glBegin(GL_LINES);
    glColor3f(1, 0, 0);
    glVertex3f(0, 0, 0);
    glVertex3f(6, 0, 0);
    glColor3f(0, 1, 0);
    glVertex3f(0, 0, 0);
    glVertex3f(0, 6, 0);
    glColor3f(0, 0, 1);
    glVertex3f(0, 0, -10);
    glVertex3f(0, 0, 0);
    glEnd();
    glPopMatrix();
}

void qtTharlenDraw::draw_text(double x, double y, float* values) {
    QPainter painter(this);
    QPen pen = painter.pen();
    pen.setWidth(3);
    painter.setPen(pen);
    for (int i = 0; i < 6; ++i) {
        const double value = values[i];
        painter.save();
        switch (i) {
            case 0:
                painter.translate(-value, 0);
                break;
            case 1:
                painter.translate(0, value);
                break;
            case 2:
                painter.translate(value, -value);
                break;
            default:
                painter.rotate(value / 6);
        }
        painter.drawText(QPointF(x + 20, y + 20 * i), QString::number(value, 'g', 6));
        painter.restore();
    }
}

/// Gives back what lives in the context, before the context or the widget goes.
void qtTharlenDraw::releaseGL() {
    if (!m_pQuadObj)
        return;
    makeCurrent();
    gluDeleteQuadric(m_pQuadObj);
    m_pQuadObj = nullptr;
    disconnect(context(), &QOpenGLContext::aboutToBeDestroyed, this, &qtTharlenDraw::releaseGL);
    doneCurrent();
}
