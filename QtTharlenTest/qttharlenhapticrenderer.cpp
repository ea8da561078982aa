// The haptic scene: fixed-function display lists for box, cursor and gimbal shape, and the frame that calls them.
#include "qttharlenhapticrenderer.h"

#include <GL/glu.h>

#include <QOpenGLContext>
#include <algorithm>

#include "device/tharlenio.h"
#include "fillparent.h"

namespace {

constexpr int kFramePeriod = 33;     ///< ms
constexpr int kWallTransitions = 2;  ///< a wall is passed above this

constexpr GLfloat kDiffuse[] = {0.7f, 0.8f, 0.9f, 1.0f};
constexpr GLfloat kSpecular[] = {0.4f, 0.4f, 0.4f, 1.0f};

void setWallColour(bool passed) {
    if (passed)
        glColor3f(0.0f, 0.7f, 0.0f);
    else
        glColor3f(0.7f, 0.7f, 0.7f);
}

void axisLine(float r, float g, float b, float x, float y, float z) {
    glColor3f(r, g, b);
    glBegin(GL_LINES);
    glVertex3f(0, 0, 0);
    glVertex3f(x, y, z);
    glEnd();
}

}  // namespace

qtTharlenHapticRenderer::qtTharlenHapticRenderer(int tharlenID, QWidget* parent)
    : QOpenGLWidget(parent), graphicTimer(new QTimer(this)), cs_DeviceID(tharlenID) {
    connect(graphicTimer, &QTimer::timeout, this, QOverload<>::of(&QWidget::update));
    prepareScene(this, Fill::NoTallerThanWide);
}

qtTharlenHapticRenderer::~qtTharlenHapticRenderer() {
    graphicTimer->stop();
    releaseGL();
}

QSize qtTharlenHapticRenderer::sizeHint() const { return QSize(350, 350); }

void qtTharlenHapticRenderer::changeTharlenInstance(int tharlenID, int renderType) {
    cs_DeviceID = tharlenID;
    m_renderType = renderType;
}

void qtTharlenHapticRenderer::startTest(bool manufacturing) {
    manufacturingMode = manufacturing;
    graphicTimer->start(kFramePeriod);
}

// m_bPassTest is left to the next frame, which finds no wall passed.
void qtTharlenHapticRenderer::stopTest() {
    clearWalls();
    genBoxDisplayList();
    graphicTimer->stop();
}

void qtTharlenHapticRenderer::clearWalls() {
    m_nWallTransitions.fill(0);
    m_bPassTest = false;  // with its walls: the next visit has to pass them all again
    std::fill(std::begin(m_bWallPassed), std::end(m_bWallPassed), false);
}

bool qtTharlenHapticRenderer::wallPassed(int wall) const { return m_nWallTransitions[wall] > kWallTransitions; }

// --- Set-up ----------------------------------------------------------------------------------------

void qtTharlenHapticRenderer::initializeGL() {
    initializeOpenGLFunctions();
    // A scene that moves to another window gets a new context; what belongs to the old one goes with it.
    connect(context(), &QOpenGLContext::aboutToBeDestroyed, this, &qtTharlenHapticRenderer::releaseGL,
            Qt::UniqueConnection);
    for (int axis = 0; axis < 3; ++axis) {
        m_fBoxMin[axis] = -20.0f;
        m_fBoxMax[axis] = 20.0f;
    }
    clearWalls();
    m_fViewerDistance = 80.0;
    m_fCursorRadius = 2.0;
    m_fCursorSize = 1.0;
    trolltechPurple = QColor::fromCmykF(0.0, 0.5, 0.0, 0.0, 1.0);
    trolltechYellow = QColor(255, 255, 0, 200);
    trolltechCyan = QColor::fromCmykF(0.39, 0.0, 0.0, 0.0, 1.0);
    trolltechGreen = QColor(100, 255, 100, 200);
    trolltechGrey = QColor(200, 200, 200, 100);
    setUpScene();
    m_quadObj = gluNewQuadric();
    gluQuadricDrawStyle(m_quadObj, GLU_FILL);
    gluQuadricNormals(m_quadObj, GLU_SMOOTH);
    genGimbalDisplayList();
    genBoxDisplayList();
    genCursorDisplayList();
    if (window_size.isValid())
        resizeGL(window_size.width(), window_size.height());  // no resize tells a second context the size
}

void qtTharlenHapticRenderer::setUpScene() {
    glClearColor(0.1f, 0.1f, 0.1f, 1.0f);
    glClearDepthf(1.0f);
    glEnable(GL_DEPTH_TEST);
    glCullFace(GL_BACK);
    glEnable(GL_CULL_FACE);
    glEnable(GL_TEXTURE_2D);
    glEnable(GL_LIGHTING);
    glEnable(GL_COLOR_MATERIAL);
    glEnable(GL_NORMALIZE);
    glShadeModel(GL_SMOOTH);
    glColor4f(0.78431374f, 0.78431374f, 0.78431374f, 0.6f);

    constexpr GLfloat ambient[] = {0.3f, 0.3f, 0.3f, 1.0f};
    constexpr GLfloat lightPosition[] = {0.1f, 0.5f, 1.0f, 0.0f};  // directional
    glLightModeli(GL_LIGHT_MODEL_LOCAL_VIEWER, GL_FALSE);
    glLightModeli(GL_LIGHT_MODEL_TWO_SIDE, GL_FALSE);
    glLightModelfv(GL_LIGHT_MODEL_AMBIENT, ambient);
    glLightfv(GL_LIGHT0, GL_DIFFUSE, kDiffuse);
    glLightfv(GL_LIGHT0, GL_POSITION, lightPosition);
    glEnable(GL_LIGHT0);
    glColorMaterial(GL_FRONT, GL_AMBIENT_AND_DIFFUSE);
    glMaterialfv(GL_FRONT, GL_SPECULAR, kSpecular);
    glMaterialf(GL_FRONT, GL_SHININESS, 128.0f);
}

void qtTharlenHapticRenderer::resizeGL(int w, int h) {
    glViewport(0, 0, w, h);
    const double aspect = static_cast<double>(w) / static_cast<double>(h > 0 ? h : 1);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    gluPerspective(40.0, aspect, 0.1, 1000.5);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    gluLookAt(0, 0, 5.0, 0, 0, 0, 0, 1, 0);
    window_size = QSize(w, h);
}

// --- A frame ---------------------------------------------------------------------------------------

// Meant: the first frame clears to the dark grey of the set-up and every later one to purple, in this order.
void qtTharlenHapticRenderer::paintGL() {
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    getDeviceParams();
    glPushAttrib(GL_CURRENT_BIT | GL_LIGHTING_BIT | GL_ENABLE_BIT);
    glPushMatrix();
    glMultMatrixf(endPtTransform);
    glClearColor(0.39f, 0.0f, 0.39f, 0.0f);
    glColor3f(0.1f, 0.1f, 0.1f);
    if (m_renderType == 0)
        glCallList(m_dlCursor);
    else if (m_renderType == 1)
        glCallList(m_dlGimbal);
    glPopMatrix();
    glPopAttrib();
    graphicsCallback();
    if (m_renderType == 0) {
        glPushMatrix();
        glCallList(m_dlCube);
        glPopMatrix();
    }
}

// Orientation comes from the device, position from pPos, which the servo thread has written.
void qtTharlenHapticRenderer::getDeviceParams() {
    get_stylus_matrix(cs_DeviceID, fEndPointTransform);
    fEndPointTransform[3][0] = pPos[0];
    fEndPointTransform[3][1] = pPos[1];
    fEndPointTransform[3][2] = static_cast<float>(pPos[2] - m_fViewerDistance);
    endPtTransform = &fEndPointTransform[0][0];
}

// A wall once passed stays passed until stopTest(). The list is built anew with every frame, whether anything
// changed or not.
void qtTharlenHapticRenderer::graphicsCallback() {
    bool all = true;
    for (int wall = 0; wall < 6; ++wall) {
        if (manufacturingMode && wallPassed(wall))
            m_bWallPassed[wall] = true;
        all = all && m_bWallPassed[wall];
    }
    genBoxDisplayList();
    m_bPassTest = all;
}

// --- Display lists ---------------------------------------------------------------------------------

// The near wall (4) has no quad, so that the viewer looks into the box: the second marker is the only sign of
// its state. Meant: walls 1 and 3 have the normals of walls 0 and 2; culling is off.
void qtTharlenHapticRenderer::genBoxDisplayList() {
    if (!m_quadObj)
        return;
    const bool outsidePainting = QOpenGLContext::currentContext() != context();
    if (outsidePainting)
        makeCurrent();
    if (glIsList(m_dlCube))
        glDeleteLists(m_dlCube, 1);
    m_dlCube = glGenLists(1);
    const auto d = static_cast<float>(m_fViewerDistance);
    glNewList(m_dlCube, GL_COMPILE);
    glPushAttrib(GL_LIGHTING_BIT | GL_ENABLE_BIT | GL_TRANSFORM_BIT);
    glMatrixMode(GL_MODELVIEW);
    glDisable(GL_CULL_FACE);
    constexpr GLfloat specular[] = {0.1f, 0.1f, 0.1f, 0.5f};
    // The pop below puts back the material but not the colour that it tracks, and a driver may take a colour that
    // is already current for no change: switching the tracking on anew makes the two agree.
    glDisable(GL_COLOR_MATERIAL);
    glEnable(GL_COLOR_MATERIAL);
    glMaterialf(GL_FRONT, GL_SHININESS, 0.1f);
    glMaterialfv(GL_FRONT, GL_SPECULAR, specular);
    wallQuad(0);
    wallQuad(1);
    wallQuad(2);
    marker(m_fBoxMax[0], m_fBoxMax[1], m_fBoxMax[2] - d);
    wallQuad(3);
    wallQuad(5);
    setWallColour(m_bWallPassed[4]);
    marker(m_fBoxMin[0], m_fBoxMin[1], m_fBoxMax[2] - d);
    glPopAttrib();
    glEndList();
    if (outsidePainting)
        doneCurrent();
}

void qtTharlenHapticRenderer::wallQuad(int wall) {
    const int axis = wall / 2;
    const auto d = static_cast<float>(m_fViewerDistance);
    const float minX = m_fBoxMin[0], minY = m_fBoxMin[1], minZ = m_fBoxMin[2] - d;
    const float maxX = m_fBoxMax[0], maxY = m_fBoxMax[1], maxZ = m_fBoxMax[2] - d;
    setWallColour(m_bWallPassed[wall]);
    glBegin(GL_QUADS);
    glNormal3f(axis == 0, axis == 1, axis == 2);
    if (axis == 0) {
        const float x = wall == 0 ? maxX : minX;
        glVertex3f(x, minY, minZ);
        glVertex3f(x, minY, maxZ);
        glVertex3f(x, maxY, maxZ);
        glVertex3f(x, maxY, minZ);
    } else if (axis == 1) {
        const float y = wall == 2 ? maxY : minY;
        glVertex3f(minX, y, minZ);
        glVertex3f(minX, y, maxZ);
        glVertex3f(maxX, y, maxZ);
        glVertex3f(maxX, y, minZ);
    } else {
        glVertex3f(minX, minY, minZ);
        glVertex3f(minX, maxY, minZ);
        glVertex3f(maxX, maxY, minZ);
        glVertex3f(maxX, minY, minZ);
    }
    glEnd();
}

void qtTharlenHapticRenderer::marker(float x, float y, float z) {
    glPushMatrix();
    glTranslatef(x, y, z);
    glScaled(m_fCursorSize, m_fCursorSize, m_fCursorSize);
    gluSphere(m_quadObj, m_fCursorRadius, 8, 8);
    glPopMatrix();
}

void qtTharlenHapticRenderer::genCursorDisplayList() {
    m_dlCursor = glGenLists(1);
    glNewList(m_dlCursor, GL_COMPILE);
    glEnable(GL_CULL_FACE);
    glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT_AND_DIFFUSE, kDiffuse);
    glMaterialfv(GL_FRONT_AND_BACK, GL_SPECULAR, kSpecular);
    glMaterialf(GL_FRONT_AND_BACK, GL_SHININESS, 128.0f);
    glNormal3f(0, 0, 1);  // so that the lines do not take the last normal of the frame before
    axisLine(1, 0, 0, 15, 0, 0);
    axisLine(0, 1, 0, 0, 15, 0);
    axisLine(0, 0, 1, 0, 0, 15);
    glColor3f(0.8f, 0.8f, 0.0f);
    gluSphere(m_quadObj, m_fCursorRadius, 8, 8);
    glEndList();
}

// Four spindles joined at right angles: a square of 60 mm a side. A spindle ends 12 mm past the place where the
// next one begins, so the corners are pointed.
void qtTharlenHapticRenderer::genGimbalDisplayList() {
    m_quadObj_cyl = gluNewQuadric();
    gluQuadricDrawStyle(m_quadObj_cyl, GLU_FILL);
    gluQuadricNormals(m_quadObj_cyl, GLU_SMOOTH);
    if (glIsList(m_dlGimbal))
        glDeleteLists(m_dlGimbal, 1);
    m_dlGimbal = glGenLists(1);
    glNewList(m_dlGimbal, GL_COMPILE);
    for (int spindle = 0; spindle < 4; ++spindle) {
        gluCylinder(m_quadObj_cyl, 0.0, 7.0, 60.0, 15, 15);
        glTranslatef(0, 0, 60.0f);
        gluCylinder(m_quadObj_cyl, 7.0, 0.0, 12.0, 15, 15);
        if (spindle < 3)
            glRotatef(-90.0f, 0, 1, 0);
    }
    gluDeleteQuadric(m_quadObj_cyl);
    m_quadObj_cyl = nullptr;
    glEndList();
}

/// Gives back what lives in the context, before the context or the widget goes.
void qtTharlenHapticRenderer::releaseGL() {
    if (!m_quadObj)
        return;
    makeCurrent();
    gluDeleteQuadric(m_quadObj);
    m_quadObj = nullptr;
    for (GLuint* list : {&m_dlCube, &m_dlCursor, &m_dlGimbal}) {
        glDeleteLists(*list, 1);
        *list = 0;
    }
    disconnect(context(), &QOpenGLContext::aboutToBeDestroyed, this, &qtTharlenHapticRenderer::releaseGL);
    doneCurrent();
}
