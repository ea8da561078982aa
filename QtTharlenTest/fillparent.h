// What the OpenGL scenes share: they fill the form's placeholder that holds them, and ask for a context with the
// fixed functions. Graphical thread.
#pragma once

#include <QEvent>
#include <QOpenGLWidget>
#include <QSurfaceFormat>

/// How much of its placeholder a scene takes. A perspective has its angle upright, so a scene that is taller than
/// wide cuts off what stands at its sides.
enum class Fill { All, NoTallerThanWide };

/// An event filter on the placeholder, owned by the scene. The scene comes up right after its placeholder was
/// painted for the first time: making an OpenGL context takes as long as all of the rest of the window, which is
/// thus on the screen before.
class FillParent : public QObject {
public:
    FillParent(QWidget* scene, Fill fill) : QObject(scene), m_scene(scene), m_fill(fill) {
        if (QWidget* placeholder = scene->parentWidget()) {
            placeholder->installEventFilter(this);
            follow(placeholder);
            scene->hide();
        }
    }
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Resize && watched == m_scene->parentWidget())
            follow(m_scene->parentWidget());
        if (event->type() == QEvent::Paint && !m_shown) {
            m_shown = true;
            QMetaObject::invokeMethod(m_scene, "show", Qt::QueuedConnection);
        }
        return false;
    }

private:
    void follow(const QWidget* placeholder) {
        QRect place = placeholder->rect();
        if (m_fill == Fill::NoTallerThanWide && place.height() > place.width()) {
            place.setHeight(place.width());
            place.moveTop((placeholder->height() - place.height()) / 2);
        }
        m_scene->setGeometry(place);
    }

    QWidget* m_scene;
    Fill m_fill;
    bool m_shown = false;
};

/// To be called by a scene's constructor.
inline void prepareScene(QOpenGLWidget* scene, Fill fill) {
    QSurfaceFormat format = scene->format();
    format.setRenderableType(QSurfaceFormat::OpenGL);
    format.setProfile(QSurfaceFormat::CompatibilityProfile);
    format.setDepthBufferSize(24);
    scene->setFormat(format);
    scene->setTextureFormat(GL_RGB8);  // the alphas of colours mean nothing: a picture of the window is opaque
    new FillParent(scene, fill);
}
