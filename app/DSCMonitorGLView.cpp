#include "app/DSCMonitorGLView.h"

#include <algorithm>
#include <iterator>

#include <QGuiApplication>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLShaderProgram>

#include "CoreX/CoreMachDebugLog.h"
#include "app/DSCStereoView.h"

namespace {

// The quad covers the viewport; the picture's first row (the top) is the texture's t = 0.
constexpr char kVertexShader[] = R"(
attribute vec2 position;
varying vec2 texCoord;
void main() {
    texCoord = vec2(position.x + 1.0, 1.0 - position.y) * 0.5;
    gl_Position = vec4(position, 0.0, 1.0);
}
)";

// The picture's bytes are B, G, R, A (QImage's 32-bit formats on a little-endian machine),
// uploaded as they are into an RGBA texture: the swizzle puts the colours back, on desktop
// OpenGL and OpenGL ES alike.
constexpr char kFragmentShader[] = R"(
#ifdef GL_ES
precision mediump float;
#endif
uniform sampler2D picture;
varying vec2 texCoord;
void main() {
    gl_FragColor = vec4(texture2D(picture, texCoord).bgr, 1.0);
}
)";

constexpr float kQuad[] = {-1, -1, 1, -1, -1, 1, 1, 1};

}  // namespace

DSCMonitorGLView::DSCMonitorGLView(QImage const* picture, QWidget* parent)
    : QOpenGLWidget(parent), mPicture(picture) {
    // Clicks, double clicks and the tooltip belong to the monitor underneath.
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

DSCMonitorGLView::~DSCMonitorGLView() {
    if (context() != nullptr) {
        // The base class destroys the context after this: nothing of this class may answer it.
        disconnect(context(), nullptr, this, nullptr);
        makeCurrent();
        releaseGL();
        doneCurrent();
    }
}

bool DSCMonitorGLView::contextAvailable(QString* renderer) {
    // The window systems whose Qt platform composes OpenGL widgets into a window; others
    // (offscreen, minimal, VNC, a bare frame buffer) cannot show one even with a context.
    QString const platform = QGuiApplication::platformName();
    static char const* const kComposing[] = {"xcb", "wayland", "wayland-egl", "eglfs"};
    if (std::none_of(std::begin(kComposing), std::end(kComposing),
                     [&](char const* name) { return platform == QLatin1String(name); })) {
        *renderer = QStringLiteral("the %1 platform shows no OpenGL widget").arg(platform);
        return false;
    }
    QOpenGLContext context;
    if (!context.create()) {
        *renderer = QStringLiteral("no OpenGL context on this display");
        return false;
    }
    QOffscreenSurface surface;
    surface.setFormat(context.format());
    surface.create();
    if (!surface.isValid() || !context.makeCurrent(&surface)) {
        *renderer = QStringLiteral("an OpenGL context that cannot be made current");
        return false;
    }
    auto const* name = context.functions()->glGetString(GL_RENDERER);
    *renderer = name != nullptr ? QString::fromLatin1(reinterpret_cast<char const*>(name))
                                : QStringLiteral("unnamed renderer");
    context.doneCurrent();
    return true;
}

bool DSCMonitorGLView::isSoftwareRenderer(QString const& renderer) {
    static char const* const kSoftware[] = {"llvmpipe", "softpipe", "swrast", "SwiftShader",
                                            "Software Rasterizer"};
    return std::any_of(std::begin(kSoftware), std::end(kSoftware), [&](char const* name) {
        return renderer.contains(QLatin1String(name), Qt::CaseInsensitive);
    });
}

void DSCMonitorGLView::initializeGL() {
    initializeOpenGLFunctions();
    connect(context(), &QOpenGLContext::aboutToBeDestroyed, this, [this] {
        makeCurrent();
        releaseGL();
        doneCurrent();
    });
    mProgram = std::make_unique<QOpenGLShaderProgram>();
    bool const linked =
        mProgram->addShaderFromSourceCode(QOpenGLShader::Vertex, kVertexShader) &&
        mProgram->addShaderFromSourceCode(QOpenGLShader::Fragment, kFragmentShader) &&
        (mProgram->bindAttributeLocation("position", 0), mProgram->link());
    VERIFY_TEXT(linked, "the monitor's shaders compile and link");
    if (!linked) {
        CoreMachDebugLog("Monitor shader log: %s", qPrintable(mProgram->log()));
        mProgram.reset();
    } else {
        mProgram->bind();
        mProgram->setUniformValue("picture", 0);
        mProgram->release();
    }
    VERIFY(mQuad.create());
    mQuad.bind();
    mQuad.allocate(kQuad, sizeof(kQuad));
    mQuad.release();
    mUploaded = false;
}

void DSCMonitorGLView::upload() {
    QImage const& picture = *mPicture;
    if (mTexture == 0 || mTextureSize != picture.size()) {
        if (mTexture == 0) {
            glGenTextures(1, &mTexture);
        }
        glBindTexture(GL_TEXTURE_2D, mTexture);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
        // Storage once per size; every tick after only replaces the pixels.
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, picture.width(), picture.height(), 0, GL_RGBA,
                     GL_UNSIGNED_BYTE, nullptr);
        mTextureSize = picture.size();
    }
    glBindTexture(GL_TEXTURE_2D, mTexture);
    // 32-bit rows are whole words and a QImage's rows are packed: no row length needed.
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, picture.width(), picture.height(), GL_RGBA,
                    GL_UNSIGNED_BYTE, picture.constBits());
    mUploaded = true;
}

void DSCMonitorGLView::paintGL() {
    glClearColor(0, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    if (!mShown || mPicture->isNull() || !mProgram) {
        return;
    }
    if (!mUploaded) {
        upload();
    }
    // The same rectangle the painter fills on the CPU path, in device pixels; OpenGL counts
    // rows from the bottom.
    qreal const ratio = devicePixelRatioF();
    QSizeF const device(width() * ratio, height() * ratio);
    QRect const shown =
        DSCStereoView::letterboxRect(QRectF(QPointF(0, 0), device), QSizeF(mPicture->size()))
            .toRect();
    if (shown.isEmpty()) {
        return;
    }
    glViewport(shown.x(), qRound(device.height()) - shown.y() - shown.height(), shown.width(),
               shown.height());
    mProgram->bind();
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, mTexture);
    mQuad.bind();
    mProgram->enableAttributeArray(0);
    mProgram->setAttributeBuffer(0, GL_FLOAT, 0, 2);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    mProgram->disableAttributeArray(0);
    mQuad.release();
    mProgram->release();
}

void DSCMonitorGLView::releaseGL() {
    if (mTexture != 0) {
        glDeleteTextures(1, &mTexture);
        mTexture = 0;
    }
    mTextureSize = QSize();
    mProgram.reset();
    mQuad.destroy();
    mUploaded = false;
}
