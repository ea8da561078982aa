// The two OpenGL widgets by what they paint, a frame at a time: the haptic scene and the picture of the arm.
#include <QOpenGLContext>
#include <QSignalSpy>
#include <QTest>
#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include "qttharlendraw.h"
#include "qttharlenhapticrenderer.h"
#include "standin.h"

using standin::device;

namespace {

constexpr int kSide = 350;
const QRgb kPurple = qRgb(99, 0, 99), kBackdrop = qRgb(128, 128, 128);

bool stands(int value, int other1, int other2) { return value > 60 && value > 3 * other1 && value > 3 * other2; }
const auto isRed = [](QRgb c) { return stands(qRed(c), qGreen(c), qBlue(c)); };
const auto isGreen = [](QRgb c) { return stands(qGreen(c), qRed(c), qBlue(c)); };
const auto isYellow = [](QRgb c) { return std::abs(qRed(c) - qGreen(c)) < 30 && qRed(c) > 3 * qBlue(c) + 40; };
const auto isGrey = [](QRgb c) {
    return qRed(c) > 40 && std::abs(qRed(c) - qGreen(c)) < 30 && std::abs(qBlue(c) - qRed(c)) < 60;
};

template <class Test>
int count(const QImage& frame, Test test) {
    int found = 0;
    for (int y = 0; y < frame.height(); ++y)
        for (int x = 0; x < frame.width(); ++x)
            found += test(frame.pixel(x, y));
    return found;
}

/// What is painted over the backdrop.
QRect extent(const QImage& frame) {
    QRect painted;
    for (int y = 0; y < frame.height(); ++y)
        for (int x = 0; x < frame.width(); ++x)
            if (frame.pixel(x, y) != kBackdrop)
                painted |= QRect(x, y, 1, 1);
    return painted;
}

/// Pixel of a place in the haptic scene, mm from the box's centre: eye 85 mm ahead of it, 40 degrees high.
QPoint pixelOf(double x, double y, double z) {
    const double scale = kSide / 2.0 / ((85.0 - z) * std::tan(20.0 * M_PI / 180.0));
    return {qRound(kSide / 2.0 + x * scale), qRound(kSide / 2.0 - y * scale)};
}
QRgb at(const QImage& frame, double x, double y, double z) { return frame.pixel(pixelOf(x, y, z)); }

/// Where each wall shows its colour, clear of the cursor; the near one only by its marker.
constexpr double kWallSpots[6][3] = {{20, -8, 10},  {-20, -8, 10},  {-8, 20, 10},
                                     {-8, -20, 10}, {-20, -20, 20}, {-8, -8, -20}};
QString greenWalls(const QImage& frame) {
    QString walls;
    for (const auto& spot : kWallSpots) {
        const QRgb colour = at(frame, spot[0], spot[1], spot[2]);
        walls += isGreen(colour) ? 'G' : isGrey(colour) ? '.' : '?';
    }
    return walls;
}

/// A widget in a placeholder on the screen.
template <class Scene>
struct Shown {
    QWidget placeholder;
    Scene* scene;
    explicit Shown(int id) : scene(new Scene(id, &placeholder)) {
        placeholder.resize(kSide, kSide);
        placeholder.show();
        QVERIFY(QTest::qWaitForWindowExposed(&placeholder));
        QVERIFY(QTest::qWaitFor([this] { return scene->isVisible() && scene->isValid(); }));
    }
    /// A new frame. The toolkit clears the one before it only once that has been on the screen.
    QImage frame() {
        QSignalSpy shown(scene, &QOpenGLWidget::frameSwapped);
        scene->update();
        shown.wait(1000);
        return scene->grabFramebuffer();
    }
};

void pose(const std::array<float, 3>& base, const std::array<float, 3>& wrist) {
    std::copy(base.begin(), base.end(), device().baseAngles);
    std::copy(wrist.begin(), wrist.end(), device().gimbalAngles);
}
void turnStylus(const float (&matrix)[4][4]) { std::copy(&matrix[0][0], &matrix[0][0] + 16, &device().stylus[0][0]); }

}  // namespace

class TestScenes : public QObject {
    Q_OBJECT

private slots:
    void init() { standin::reset(); }

    // Each wall turns green at its third break-out, in manufacturing alone, and stays so until the end of the test.
    void thirdBreakOutTurnsAWallGreen() {
        Shown<qtTharlenHapticRenderer> box(1);
        const QString none(6, '.');
        for (int round = 0; round < 12; ++round) {
            const int wall = round % 6;
            const bool manufacturing = round < 6;
            QString one = none;
            one[wall] = manufacturing ? 'G' : '.';
            box.scene->startTest(manufacturing);
            for (int transitions = 0; transitions <= 3; ++transitions) {
                box.scene->m_nWallTransitions[wall] = transitions;
                QCOMPARE(greenWalls(box.frame()), transitions < 3 ? none : one);
            }
            QCOMPARE(isGreen(at(box.frame(), 20, 20, 20)), wall == 2 && manufacturing);  // the far marker is wall 2's
            QVERIFY(!box.scene->m_bPassTest);
            box.scene->m_nWallTransitions.fill(4);
            box.scene->m_nWallTransitions[wall] = 0;  // passed stays passed
            for (int frame = 0; frame < 3; ++frame)
                QCOMPARE(greenWalls(box.frame()), QString(6, manufacturing ? 'G' : '.'));
            QCOMPARE(box.scene->m_bPassTest.load(), manufacturing);
            box.scene->stopTest();
            QVERIFY(!box.scene->graphicTimer->isActive());
            QCOMPARE(box.scene->m_nWallTransitions.copy(), (std::array<int, 6>{}));
            QCOMPARE(greenWalls(box.frame()), none);
            QVERIFY(!box.scene->m_bPassTest);
        }
    }

    // The box with its cursor, the gimbal's square, and nothing.
    void renderTypes() {
        Shown<qtTharlenHapticRenderer> box(1);
        box.scene->changeTharlenInstance(1, 1);
        const QImage gimbal = box.frame();
        QVERIFY(count(gimbal, isYellow) == 0 && gimbal.pixel(5, 5) == kPurple);
        QVERIFY(gimbal.pixel(kSide / 2, kSide / 2) != kPurple);  // its first spindle, head on
        // Turned to face the viewer: a square to the left of and below its first corner, open in the middle.
        const float facing[4][4] = {{1, 0, 0, 0}, {0, 0, 1, 0}, {0, -1, 0, 0}, {0, 0, 0, 1}};
        const float corner[3] = {30, 30, -60};
        turnStylus(facing);
        box.scene->pPos.store(corner);
        const QImage square = box.frame();
        for (const auto& side : {QPointF(30, -20), QPointF(-20, -30), QPointF(-30, 20), QPointF(20, 30)})
            QVERIFY(at(square, side.x(), side.y(), -60) != kPurple);
        QCOMPARE(at(square, 0, 0, -60), kPurple);
        box.scene->changeTharlenInstance(1, 2);
        QCOMPARE(count(box.frame(), [](QRgb c) { return c != kPurple; }), 0);
    }

    // Position from pPos, orientation from the device whose own position is not used.
    void cursorFollowsTheStylus() {
        Shown<qtTharlenHapticRenderer> box(7);
        const float upright[4][4] = {{0, 1, 0, 0}, {-1, 0, 0, 0}, {0, 0, 1, 0}, {30, 30, 30, 1}};
        for (const std::array<float, 3>& place :
             {std::array<float, 3>{0, 0, 0}, {11, -5, 0}, {-12, -9, -15}, {5, 5, 15}}) {
            for (bool turned : {false, true}) {
                if (turned)
                    turnStylus(upright);
                box.scene->pPos.store(place.data());
                const QImage frame = box.frame();
                QVERIFY(isYellow(at(frame, place[0], place[1], place[2])));
                // A place on the red axis, whose line is a pixel wide.
                const QPoint along = pixelOf(place[0] + (turned ? 0 : 6), place[1] + (turned ? 6 : 0), place[2]);
                QVERIFY(count(frame.copy(QRect(along - QPoint(2, 2), QSize(5, 5))), isRed) >= 3);
            }
            standin::reset();
        }
        box.frame();
        QCOMPARE(device().of({"get_stylus_matrix"}).at(0).values.at(0), 7.0);
    }

    // With no context yet, with one that is not current, and with a new one. The first frame is grey.
    void worksOutsidePainting() {
        qtTharlenHapticRenderer unseen(1, nullptr);
        unseen.startTest(true);
        unseen.stopTest();
        QVERIFY(!unseen.m_bPassTest && !unseen.m_dlCube);
        unseen.resize(kSide, kSide);
        unseen.winId();  // a window to paint for, but no frame yet
        QCOMPARE(unseen.grabFramebuffer().pixel(5, 5), qRgb(26, 26, 26));
        QCOMPARE(unseen.grabFramebuffer().pixel(5, 5), kPurple);
        QWidget other;
        Shown<qtTharlenHapticRenderer> box(1);
        box.scene->doneCurrent();
        box.scene->startTest(true);
        box.scene->m_nWallTransitions[5] = 3;
        box.scene->graphicsCallback();
        QVERIFY(!QOpenGLContext::currentContext() && box.scene->m_dlCube);
        QCOMPARE(greenWalls(box.frame()), QString(".....G"));
        other.resize(kSide, kSide);
        other.show();
        box.scene->setParent(&other);
        box.scene->show();
        QCOMPARE(greenWalls(box.frame()), QString("......"));
    }

    // The near wall's marker stands at the side: a tall placeholder must not cut it off.
    void scenesFillTheirPlaceholder() {
        Shown<qtTharlenHapticRenderer> box(1);
        Shown<qtTharlenDraw> arm(1);
        for (const QSize& size : {QSize(500, 400), QSize(300, 400), QSize(1, 0), QSize(0, 0), QSize(350, 350)}) {
            box.placeholder.setFixedSize(size);
            arm.placeholder.setFixedSize(size);
            QCOMPARE(box.scene->size(), QSize(size.width(), std::min(size.width(), size.height())));
            QCOMPARE(arm.scene->size(), size);
            box.scene->grabFramebuffer();
            arm.scene->grabFramebuffer();
        }
        QCOMPARE(greenWalls(box.frame()), QString("......"));
    }

    // A second button is there on the lines that have it; a pressed one is green, by so many pixels.
    void armButtons() {
        const std::tuple<const char*, int, int, int, int> rows[] = {{"THARLEN Orda", 1, 1, 0, 30},
                                                                    {"THARLEN Orda", 1, 0, 1, 60},
                                                                    {"Nolva", 1, 1, 1, 90},
                                                                    {"THARLEN Stelmar", 1, 1, 1, 55},
                                                                    {"Nolva", 0, 1, 1, 0}};
        for (const auto& [model, gimbal, first, second, green] : rows) {
            Shown<qtTharlenDraw> arm(1);
            device().model = model;
            device().result["tharlen_check_for_gimbal"] = gimbal;
            device().switches[0] = first;
            device().switches[1] = second;
            pose({0, 1.2f, 0.8f}, {-0.5f, -0.8f, 0.6f});  // the buttons face the viewer
            const int seen = count(arm.frame(), isGreen);
            QVERIFY2(seen >= green && seen < green * 3 / 2 + 1, qPrintable(QString::number(seen)));
        }
    }

    // Nothing without a device. Degrees, the picture's signs, the third angle absolute; a missing gimbal's angles stay.
    void armAngles() {
        Shown<qtTharlenDraw> arm(-1);
        QVERIFY(arm.scene->ptimer->isActive() && extent(arm.frame()).isEmpty() && device().calls.empty());
        arm.scene->changeTharlenInstance(4);
        pose({3.14159f, 0.2f, 0.3f}, {0.4f, 0.5f, 0.6f});
        const double wanted[6] = {180, -11.459166, -5.729583, -22.918331, -28.647914, 34.377497};
        for (bool gimbal : {false, true, false, false}) {
            device().result["tharlen_check_for_gimbal"] = gimbal;
            const bool wristSeen = device().count("get_gimbal_encoders") > 0 || gimbal;
            arm.frame();
            for (int i = 0; i < 6; ++i) {
                const double angle = arm.scene->pJangle[i];
                QVERIFY2(std::abs(angle - (i < 3 || wristSeen ? wanted[i] : 0)) < 5e-5, qPrintable(QString::number(i)));
            }
        }
        QCOMPARE(device().of({"get_tharlen_encoders"}).at(0).values.at(0), 4.0);
    }

    // Each joint moves the picture, the wrist only with a gimbal; no frame leaves anything in the next one.
    void armPoses() {
        Shown<qtTharlenDraw> arm(1);
        for (bool gimbal : {true, false}) {
            device().result["tharlen_check_for_gimbal"] = gimbal;
            const QImage rest = arm.frame();
            for (int joint = 0; joint < 6; ++joint) {
                float& angle = joint < 3 ? device().baseAngles[joint] : device().gimbalAngles[joint - 3];
                angle = 0.5f;
                QCOMPARE(arm.frame() != rest, joint < 3 || gimbal);
                angle = 0;
                QVERIFY(arm.frame() == rest);
            }
        }
        // The arm turns to the left, and the upper arm rises; all its parts are of their size.
        pose({0.7f, 0, 0}, {});
        const QImage left = arm.frame();
        const auto painted = [&left](int x) {
            return count(left.copy(x, 0, kSide / 2, kSide / 2), [](QRgb c) { return c != kBackdrop; });
        };
        QVERIFY(2 * painted(0) > 3 * painted(kSide / 2));
        pose({0, 0.2f, 0}, {});
        const int low = extent(arm.frame()).top();
        pose({0, 0.6f, 0}, {});
        const QRect high = extent(arm.frame());
        QVERIFY(high.top() < low - 10);
        QVERIFY(QRect(67, 24, 216, 227).contains(high) && high.contains(QRect(71, 28, 208, 219)));
        // Rolled by a quarter, a stylus that is bent up shows its button to one side.
        device().result["tharlen_check_for_gimbal"] = 1;
        device().switches[0] = 1;
        pose({0, 1.2f, 0.8f}, {-0.5f, -0.8f, 0.6f});
        const int seen = count(arm.frame(), isGreen);
        device().gimbalAngles[2] = -0.6f;
        QVERIFY(seen > 2 * count(arm.frame(), isGreen));
    }
};

QTEST_MAIN(TestScenes)
#include "tst_scenes.moc"
