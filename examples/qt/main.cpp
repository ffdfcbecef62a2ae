// A capture screen in a Qt widget: the preview with outlines of codes; the space bar takes a still.
//   capture-screen-qt [INPUT]

#include <host/Host.h>
#include <tamsel/tamsel.h>

#include <QApplication>
#include <QPainter>
#include <QShortcut>
#include <QSocketNotifier>
#include <QWidget>

using namespace tamsel;

class CaptureWidget final : public QWidget {
public:
    explicit CaptureWidget(platform::Platform& platform) : platform_(platform)
    {
        resize(960, 720);
        new QShortcut(Qt::Key_Space, this, [this] { camera_.captureStill(); });
        manager_->setMetadataDetection(allBarcodes(), outlines_);
        camera_.start(SourceType::cameraBack(false));
    }

private:
    void paintEvent(QPaintEvent* /*event*/) override
    {
        QPainter painter(this);
        painter.fillRect(rect(), Qt::black);
        painter.setPen(QPen(Qt::green, 0)); // the thinnest line
        const auto frame = camera_.preview().newestFrame();
        if (!frame)
            return painter.drawText(rect(), Qt::AlignCenter, "No camera, or no permission");
        const platform::CVPixelBuffer& pixels = *frame->pixels;
        const QImage picture(reinterpret_cast<const uchar*>(pixels.baseAddress()),
            static_cast<int>(pixels.width()), static_cast<int>(pixels.height()),
            static_cast<qsizetype>(pixels.bytesPerRow()), QImage::Format_RGB32);
        const platform::CGAffineTransform& t = frame->layerTransform; // of places from 0 to 1
        painter.setTransform(QTransform(t.a, t.b, t.c, t.d, t.tx, t.ty));
        painter.drawImage(QRectF(0, 0, 1, 1), picture);
        for (const DetectionOutline& outline : outlines_->latest().outlines) {
            QPolygonF polygon;
            for (const auto& [x, y] : outline.corners)
                polygon << QPointF(x, y);
            painter.drawPolygon(polygon);
        }
    }

    void resizeEvent(QResizeEvent* /*event*/) override
    {
        camera_.preview().resize({static_cast<double>(width()), static_cast<double>(height())});
    }

    platform::Platform& platform_;
    const std::shared_ptr<platform::DispatchQueue> queue_ = platform_.dispatch.mainQueue(); // Qt's thread
    const std::shared_ptr<CallbackDelegate> client_ = makeDelegate({
        .didGetSample =
            [this](auto&, const auto& sample) {
                const auto saved = saveFile(sample->sample(), "still.jpg");
                setWindowTitle(saved ? "Saved still.jpg" : QString::fromStdString(saved.error()));
            },
    });
    const std::shared_ptr<DetectionOutlines> outlines_
        = std::make_shared<DetectionOutlines>(platform_, std::chrono::milliseconds(100));
    const std::shared_ptr<OvriSourceManager> manager_
        = OvriSourceManager::create({}, CameraConfiguration::SessionPreset::photo, queue_, platform_);
    LiveCamera camera_{manager_, client_, queue_, platform_, [this] { update(); }};
};

int main(int count, char** arguments)
{
    QApplication application(count, arguments);
    host::Host host({.backCamera = host::HostInput{.input = count > 1 ? arguments[1] : "auto"}});
    QSocketNotifier notifier(host.descriptor(), QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, [&host] { host.runOnce({}); });
    host.requestVideoAccess([](auto) { }); // the camera starts when it is given
    CaptureWidget widget(host.platform());
    widget.show();
    return QApplication::exec();
}
