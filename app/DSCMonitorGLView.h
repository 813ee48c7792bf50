#pragma once
// The monitor's OpenGL surface: the picture composed on the tick is uploaded once per tick
// into a texture kept while its size stays, and the GPU scales it into the letterbox
// rectangle with linear filtering; the clear colour makes the black bars. The monitor
// (DSCStereoView) owns the picture and the geometry; this widget only draws.

#include <memory>

#include <QOpenGLBuffer>
#include <QOpenGLFunctions>
#include <QOpenGLWidget>

class QOpenGLShaderProgram;

class DSCMonitorGLView : public QOpenGLWidget, protected QOpenGLFunctions {
public:
    // `picture` belongs to the monitor, outlives this view and is read on the GUI thread
    // when painting.
    DSCMonitorGLView(QImage const* picture, QWidget* parent);
    ~DSCMonitorGLView() override;

    // Whether this platform shows OpenGL widgets and a context can be made on its display;
    // `renderer` gets the driver's renderer name, or why not.
    static bool contextAvailable(QString* renderer);
    // Whether `renderer` names a rasteriser that runs on the CPU (Mesa's llvmpipe, softpipe).
    static bool isSoftwareRenderer(QString const& renderer);

    // A new picture was composed (same memory, possibly a new size) and the next paint
    // uploads it; or there is nothing to show, and the next paint is all black.
    void pictureChanged(bool shown) {
        mShown = shown;
        mUploaded = false;
    }

protected:
    void initializeGL() override;
    void paintGL() override;

private:
    void upload();
    // Frees the texture and the program while their context is current (a reparenting to
    // full screen and back replaces the context; initializeGL then makes them again).
    void releaseGL();

    QImage const* mPicture;
    bool mShown = false;
    bool mUploaded = false;
    unsigned mTexture = 0;
    QSize mTextureSize;
    std::unique_ptr<QOpenGLShaderProgram> mProgram;
    QOpenGLBuffer mQuad{QOpenGLBuffer::VertexBuffer};
};
