#include "CoCamX/NSUIStereoAlignControl.h"

#include <cmath>

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include "CoCamX/NSUICICameraControls.h"
#include "CoCamX/NSUIControls.h"
#include "CoreX/CoreMachDebugLog.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/stereo/StereoAlignmentEstimate.h"
#include "platform/stereo/StereoColorMatch.h"

namespace {

constexpr char kConvergenceKey[] = "convergence";
constexpr int kConvergenceRange = 64;

StereoPicture PictureOf(QImage const& image) {
    return {image.constBits(), image.width(), image.height(), image.bytesPerLine()};
}

}  // namespace

NSUIStereoAlignControl::NSUIStereoAlignControl(QWidget* parent)
    : QWidget(parent),
      mConvergence(new NSUISlider(this)),
      mConvergenceValue(new QLabel(this)),
      mAlignButton(new QPushButton(tr("Auto-align"), this)),
      mMatchButton(new QPushButton(tr("Match colours"), this)) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    mConvergence->setObjectName("convergenceSlider");
    mConvergence->setRange(-kConvergenceRange, kConvergenceRange, 1.0);
    mConvergence->setDoubleValue(0.0);
    mConvergence->setMinimumWidth(140);
    mConvergence->setToolTip(
        tr("Convergence in pixels: moves what sits at the screen's depth. Positive puts the "
           "scene further behind the screen, negative brings it forward"));
    mConvergenceValue->setMinimumWidth(mConvergenceValue->fontMetrics().horizontalAdvance("-00") +
                                       4);
    mConvergenceValue->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    mConvergenceValue->setText(QStringLiteral("0"));
    mAlignButton->setObjectName("autoAlignButton");
    mAlignButton->setToolTip(
        tr("Measure how the right eye is moved, turned and scaled against the left eye and "
           "correct it (see the right eye's Align page)"));
    mMatchButton->setObjectName("matchColorsButton");
    mMatchButton->setToolTip(
        tr("Give the right eye the left eye's colours (the right eye's "
           "colour match on its Align page)"));
    row->addWidget(new QLabel(tr("Convergence"), this));
    row->addWidget(mConvergence);
    row->addWidget(mConvergenceValue);
    row->addWidget(mAlignButton);
    row->addWidget(mMatchButton);
    connect(mConvergence, &QSlider::valueChanged, this, [this] {
        mConvergenceValue->setText(QString::number(convergence()));
        applyConvergence();
        emit convergenceChanged(convergence());
    });
    connect(mAlignButton, &QPushButton::clicked, this, [this] { autoAlign(); });
    connect(mMatchButton, &QPushButton::clicked, this, [this] { matchColors(); });
}

NSUIStereoAlignControl::~NSUIStereoAlignControl() {
    // A measurement still running finishes first; its result, posted to this object, goes
    // with it.
    if (mWorker.joinable()) {
        mWorker.join();
    }
}

void NSUIStereoAlignControl::setEyes(NSUICICameraControls* left, PictureSource leftPicture,
                                     NSUICICameraControls* right, PictureSource rightPicture) {
    mLeft = left;
    mRight = right;
    mLeftPicture = std::move(leftPicture);
    mRightPicture = std::move(rightPicture);
    applyConvergence();
}

int NSUIStereoAlignControl::convergence() const {
    return static_cast<int>(std::lround(mConvergence->doubleValue()));
}

void NSUIStereoAlignControl::setConvergence(int pixels) { mConvergence->setDoubleValue(pixels); }

void NSUIStereoAlignControl::applyConvergence() {
    // Whole pixels on each side, so an eye with no other alignment moves its pixels exactly.
    int const total = convergence();
    int const leftShift = -(total / 2);
    if (mLeft != nullptr) {
        mLeft->setHorizontalShift(leftShift);
    }
    if (mRight != nullptr) {
        mRight->setHorizontalShift(total + leftShift);
    }
}

void NSUIStereoAlignControl::saveSettings() const {
    UserDefaults::standard().setNumber(kConvergenceKey, convergence());
}

void NSUIStereoAlignControl::restoreSettings() {
    // Checked before the conversion: a damaged file may hold any number.
    double const stored = UserDefaults::standard().numberForKey(kConvergenceKey).value_or(0.0);
    if (std::isfinite(stored) && std::abs(stored) <= kConvergenceRange) {
        setConvergence(static_cast<int>(std::lround(stored)));
    }
}

QImage NSUIStereoAlignControl::PictureCopy(PictureSource const& source) {
    if (!source) {
        return {};
    }
    QImage const picture = source();
    if (picture.isNull()) {
        return {};
    }
    // copy() detaches: the eye's own picture is rewritten by the next tick.
    return picture.convertToFormat(QImage::Format_ARGB32_Premultiplied).copy();
}

bool NSUIStereoAlignControl::autoAlign() {
    if (mAligning || mLeft == nullptr || mRight == nullptr) {
        return false;
    }
    QImage left = PictureCopy(mLeftPicture);
    QImage right = PictureCopy(mRightPicture);
    bool const fOk = !left.isNull() && !right.isNull();
    VERIFY(fOk);
    if (!fOk) {
        emit statusMessage(tr("Auto-align needs a picture in both eyes"));
        return false;
    }
    if (mWorker.joinable()) {
        mWorker.join();  // the last one has finished: its result came through
    }
    mAligning = true;
    mAlignButton->setEnabled(false);
    emit statusMessage(tr("Aligning the right eye to the left…"));
    // The measurement was made on the pictures of this moment: the correction is composed
    // with the alignment they were made with, whatever the sliders do meanwhile.
    NSUIEyeAlignment const start = mRight->alignment();
    double const startShift = mRight->horizontalShift();
    mWorker = std::thread([this, left = std::move(left), right = std::move(right), start,
                           startShift] {
        StereoAlignmentEstimate const estimate =
            EstimateStereoAlignment(PictureOf(left), PictureOf(right));
        QMetaObject::invokeMethod(
            this,
            [this, estimate, start, startShift] { finishAutoAlign(estimate, start, startShift); },
            Qt::QueuedConnection);
    });
    return true;
}

void NSUIStereoAlignControl::finishAutoAlign(StereoAlignmentEstimate const& estimate,
                                             NSUIEyeAlignment const& start, double startShift) {
    mAligning = false;
    mAlignButton->setEnabled(true);
    VERIFY(estimate.found);
    if (!estimate.found || mRight == nullptr) {
        emit statusMessage(tr("Auto-align found too few details the two eyes share "
                              "(%1 matched); nothing changed")
                               .arg(estimate.candidates));
        emit alignmentFinished(false);
        return;
    }
    // The pictures were measured with the shift in place; the shift stays the window's.
    NSUIEyeAlignment measured = start;
    measured.horizontalOffset += startShift;
    NSUIEyeAlignment correction;
    correction.verticalOffset = estimate.verticalOffset;
    correction.rotationDegrees = estimate.rotationDegrees;
    correction.scale = estimate.scale;
    NSUIEyeAlignment aligned = measured.followedBy(correction);
    aligned.horizontalOffset -= startShift;
    mRight->setAlignment(aligned);
    NSUIEyeAlignment const set = mRight->alignment();
    bool const inRange = std::abs(set.verticalOffset - aligned.verticalOffset) < 0.2 &&
                         std::abs(set.rotationDegrees - aligned.rotationDegrees) < 0.05 &&
                         std::abs(set.scale - aligned.scale) < 0.001;
    QString text = tr("Right eye aligned: vertical offset %1 px, rotation %2°, scale %3%; "
                      "vertical disparity %4 px before, %5 px left (%6 matches)")
                       .arg(set.verticalOffset, 0, 'f', 2)
                       .arg(set.rotationDegrees, 0, 'f', 2)
                       .arg((set.scale - 1.0) * 100.0, 0, 'f', 2)
                       .arg(estimate.residualBeforePixels, 0, 'f', 1)
                       .arg(estimate.residualPixels, 0, 'f', 2)
                       .arg(estimate.matches);
    if (!inRange) {
        // The cameras are further apart than the sliders reach: say so rather than hide it.
        VERIFY(inRange);
        text += tr("; the correction needed is beyond the sliders' range");
    }
    emit statusMessage(text);
    emit alignmentFinished(true);
}

bool NSUIStereoAlignControl::matchColors() {
    if (mLeft == nullptr || mRight == nullptr) {
        return false;
    }
    QImage const left = PictureCopy(mLeftPicture);
    QImage const right = PictureCopy(mRightPicture);
    StereoColorMatch const match =
        left.isNull() || right.isNull()
            ? StereoColorMatch()
            : EstimateStereoColorMatch(PictureOf(left), PictureOf(right));
    VERIFY(match.found);
    if (!match.found) {
        emit statusMessage(tr("Match colours needs pictures in both eyes that overlap"));
        return false;
    }
    // The right picture already went through the right eye's match: the new one follows it.
    NSUICICameraControls::ColorMatch combined = mRight->colorMatch();
    for (int channel = 0; channel < 3; ++channel) {
        combined.offset[channel] =
            match.gain[channel] * combined.offset[channel] + match.offset[channel];
        combined.gain[channel] *= match.gain[channel];
    }
    mRight->setColorMatch(combined);
    NSUICICameraControls::ColorMatch const set = mRight->colorMatch();
    emit statusMessage(tr("Right eye's colours matched to the left eye's: gains %1, %2, %3; "
                          "offsets %4, %5, %6")
                           .arg(set.gain[0], 0, 'f', 3)
                           .arg(set.gain[1], 0, 'f', 3)
                           .arg(set.gain[2], 0, 'f', 3)
                           .arg(set.offset[0], 0, 'f', 1)
                           .arg(set.offset[1], 0, 'f', 1)
                           .arg(set.offset[2], 0, 'f', 1));
    return true;
}

bool import_NSUIStereoAlignControl() { return true; }
