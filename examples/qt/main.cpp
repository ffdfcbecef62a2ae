// A capture screen in a Qt widget: the preview with outlines of codes; the space bar takes a still.
//   capture-screen-qt [INPUT]

#include <host/Host.h>
#include <tamsel/tamsel.h>

#include <QApplication>
#include <QFile>
#include <QKeyEvent>
#include <QPainter>
#include <QSocketNotifier>
#include <QWidget>

using namespace tamsel;

class CaptureWidget final : public QWidget {
public:
    explicit CaptureWidget(platform::Platform& platform) : platform_(platform)
    {
        resize(960, 720);
        manager_->setMetadataDetection(allBarcodes(), outlines_);
        if (!manager_->startSession(SourceType::cameraBack(false), client_, {}, view_))
            setWindowTitle("The camera may not be used");
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override
    {
        QPainter painter(this);
        painter.fillRect(rect(), Qt::black);
        const auto frame = preview_->newestFrame();
        if (!frame)
            return;
        const platform::CVPixelBuffer& pixels = *frame->pixels;
        const QImage picture(reinterpret_cast<const uchar*>(pixels.baseAddress()),
            static_cast<int>(pixels.width()), static_cast<int>(pixels.height()),
            static_cast<qsizetype>(pixels.bytesPerRow()), QImage::Format_RGB32);
        const platform::CGAffineTransform& t = frame->layerTransform; // of places from 0 to 1
        painter.setTransform(QTransform(t.a, t.b, t.c, t.d, t.tx, t.ty));
        painter.drawImage(QRectF(0, 0, 1, 1), picture);
        painter.setPen(QPen(Qt::green, 0)); // the thinnest line
        for (const DetectionOutline& outline : outlines_->latest().outlines) {
            QPolygonF polygon;
            for (const auto& [x, y] : outline.corners)
                polygon << QPointF(x, y);
            painter.drawPolygon(polygon);
        }
    }

    void resizeEvent(QResizeEvent* /*event*/) override
    {
        preview_->resize({static_cast<double>(width()), static_cast<double>(height())});
    }

    void keyPressEvent(QKeyEvent* event) override
    {
        if (event->key() == Qt::Key_Space)
            manager_->captureStillImage(platform::OvriImageSource::photo, std::nullopt);
    }

private:
    void save(const CaptureSampleUpdate& sample)
    {
        QFile file("still.jpg");
        const auto size = static_cast<qint64>(sample.sample().size());
        const bool isSaved = file.open(QIODevice::WriteOnly)
            && file.write(reinterpret_cast<const char*>(sample.sample().data()), size) == size;
        setWindowTitle(isSaved ? "Saved still.jpg" : file.errorString());
    }

    platform::Platform& platform_;
    const std::shared_ptr<platform::DispatchQueue> queue_
        = platform_.dispatch.mainQueue(); // the thread of Qt
    const std::shared_ptr<platform::UIView> view_ = std::make_shared<platform::UIView>();
    const std::shared_ptr<CallbackDelegate> client_
        = makeDelegate({.didGetSample = [this](OvriSourceManager&, const auto& sample) { save(*sample); }});
    const std::shared_ptr<DetectionOutlines> outlines_
        = std::make_shared<DetectionOutlines>(platform_, std::chrono::milliseconds(100));
    const std::shared_ptr<OvriSourceManager> manager_
        = OvriSourceManager::create({}, CameraConfiguration::SessionPreset::photo, queue_, platform_);
    const std::shared_ptr<Preview> preview_ = Preview::create(view_, platform_, queue_, [this] { update(); });
};

int main(int count, char** arguments)
{
    QApplication application(count, arguments);
    host::Host host({.backCamera = host::HostInput{.input = count > 1 ? arguments[1] : "auto"}});
    QSocketNotifier notifier(host.descriptor(), QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, [&host] { host.runOnce({}); });
    CaptureWidget widget(host.platform());
    widget.show();
    return QApplication::exec();
}
