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

#include <chrono>

using namespace tamsel;

class CaptureWidget final : public QWidget {
public:
    explicit CaptureWidget(host::Host& host)
        : queue_(host.platform().dispatch.mainQueue()), // the thread of Qt
          manager_(OvriSourceManager::create(
              {}, CameraConfiguration::SessionPreset::photo, queue_, host.platform())),
          preview_(Preview::create(view_, host.platform(), queue_, [this] { update(); }))
    {
        resize(960, 720);
        manager_->setMetadataDetection(allBarcodes(), client_);
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
        const auto width = static_cast<int>(pixels.width());
        const auto height = static_cast<int>(pixels.height());
        const platform::CGAffineTransform& t = frame->layerTransform; // of places from 0 to 1
        painter.setTransform(QTransform(t.a, t.b, t.c, t.d, t.tx, t.ty));
        painter.drawImage(QRectF(0, 0, 1, 1),
            QImage(reinterpret_cast<const uchar*>(pixels.baseAddress()), width, height,
                static_cast<qsizetype>(pixels.bytesPerRow()), QImage::Format_RGB32));
        QPen pen(Qt::green, 2);
        pen.setCosmetic(true);
        painter.setPen(pen);
        for (const OvriMetadataMachineReadableCodeObject& code : codes_) {
            QPolygonF outline;
            for (const platform::CGPoint& corner : code.corners())
                outline << QPointF(corner.x, corner.y);
            if (*code.captureTime() + std::chrono::milliseconds(100) > pixels.timing()->captureTime)
                painter.drawPolygon(outline);
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

    const std::shared_ptr<platform::DispatchQueue> queue_;
    const std::shared_ptr<platform::UIView> view_ = std::make_shared<platform::UIView>();
    const std::shared_ptr<OvriSourceManager> manager_;
    const std::shared_ptr<Preview> preview_;
    std::vector<OvriMetadataMachineReadableCodeObject> codes_;
    const std::shared_ptr<CallbackDelegate> client_
        = makeDelegate({.didGetSample = [this](OvriSourceManager&, const auto& sample) { save(*sample); },
            .didDetectCodes = [this](OvriSourceManager&, const auto& codes) { codes_ = codes; }});
};

int main(int count, char** arguments)
{
    QApplication application(count, arguments);
    host::Host host({.backCamera = host::HostInput{.input = count > 1 ? arguments[1] : "auto"}});
    QSocketNotifier notifier(host.descriptor(), QSocketNotifier::Read);
    QObject::connect(
        &notifier, &QSocketNotifier::activated, [&host] { host.runOnce(std::chrono::nanoseconds(0)); });
    CaptureWidget widget(host);
    widget.show();
    return QApplication::exec();
}
