// Shows the shared kit's windows with sample content, to look at and to screenshot:
//
//   kit-gallery [--welcome] [--whats-new] [--feedback] [--message TEXT] [--send]
//
// Without a choice it shows the Welcome and What's New windows. --feedback opens the feedback
// form, sending to $LUMEVAR_FEEDBACK_URL (default: a closed local port, so a send fails);
// --message fills its message and --send presses Send once the window is up.

#include "DunmoorUIKit/UI/FeedbackView.h"
#include "DunmoorUIKit/UI/WelcomeWindowController.h"
#include "DunmoorUIKit/UI/WhatsNewView.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>

namespace {

// Recent documents in a folder of the gallery's own: three drawn pictures and a text file,
// which has no thumbnail and shows its file type's icon.
class SampleDocuments : public RecentDocumentController {
public:
    explicit SampleDocuments(const QString &folder)
    {
        const QList<std::pair<QString, QColor>> pictures = {{QStringLiteral("Harbour at Dusk.png"), QColor(0xE0, 0x7A, 0x3F)},
                                                            {QStringLiteral("Fern Study.png"), QColor(0x3F, 0x9E, 0x6B)},
                                                            {QStringLiteral("Night Tram.png"), QColor(0x3F, 0x5B, 0xC0)}};
        for (const auto &[name, colour] : pictures) {
            QImage image(512, 384, QImage::Format_RGB32);
            QPainter painter(&image);
            QLinearGradient gradient(0, 0, 512, 384);
            gradient.setColorAt(0, colour.lighter(150));
            gradient.setColorAt(1, colour.darker(180));
            painter.fillRect(image.rect(), gradient);
            painter.setBrush(Qt::white);
            painter.setPen(Qt::NoPen);
            painter.drawEllipse(QPoint(360, 120), 60, 60);
            painter.end();
            const QString path = folder + u'/' + name;
            image.save(path);
            m_urls.append(QUrl::fromLocalFile(path));
        }
        QFile notes(folder + QStringLiteral("/Meeting Notes.txt"));
        if (notes.open(QIODevice::WriteOnly))
            notes.write("Agenda\n");
        m_urls.append(QUrl::fromLocalFile(notes.fileName()));
    }
    QList<QUrl> recentDocumentURLs() const override { return m_urls; }
    void openDocument(const QUrl &url, bool) override { qInfo("open %s", qPrintable(url.toString())); }

private:
    QList<QUrl> m_urls;
};

QIcon sampleApplicationImage()
{
    QPixmap pixmap(192, 192);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient gradient(0, 0, 0, 192);
    gradient.setColorAt(0, QColor(0xFF, 0x6B, 0x81));
    gradient.setColorAt(1, QColor(0xC2, 0x2E, 0x6E));
    QPainterPath shape;
    shape.addRoundedRect(QRectF(8, 8, 176, 176), 40, 40);
    painter.fillPath(shape, gradient);
    painter.setPen(QPen(Qt::white, 14, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(70, 130, 70, 60);
    painter.drawLine(70, 60, 130, 48);
    painter.drawLine(130, 48, 130, 118);
    painter.setBrush(Qt::white);
    painter.drawEllipse(QPointF(58, 134), 14, 11);
    painter.drawEllipse(QPointF(118, 122), 14, 11);
    return QIcon(pixmap);
}

QList<Feature> sampleFeatures()
{
    return {Feature(QStringLiteral("sparkles"), QStringLiteral("Fresh Mixes Every Morning"),
                    QStringLiteral("Made for You now blends the songs you play most with ones you have not heard in a while.")),
            Feature(QStringLiteral("magnifyingglass"), QStringLiteral("Search as You Type"),
                    QStringLiteral("Results appear with every key, across songs, albums, artists and playlists."),
                    QStringLiteral("https://example.org/search")),
            Feature(QStringLiteral("bolt"), QStringLiteral("Faster Start"),
                    QStringLiteral("The library opens from its local copy before the service answers."))};
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("KitGallery"));
    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption welcome(QStringLiteral("welcome"), QStringLiteral("Show the Welcome window."));
    const QCommandLineOption whatsNew(QStringLiteral("whats-new"), QStringLiteral("Show the What's New window."));
    const QCommandLineOption feedback(QStringLiteral("feedback"), QStringLiteral("Show the feedback form."));
    const QCommandLineOption message(QStringLiteral("message"), QStringLiteral("The form's message."), QStringLiteral("TEXT"));
    const QCommandLineOption send(QStringLiteral("send"), QStringLiteral("Press Send once shown."));
    parser.addOptions({welcome, whatsNew, feedback, message, send});
    parser.process(application);
    const bool all = !parser.isSet(welcome) && !parser.isSet(whatsNew) && !parser.isSet(feedback);

    QTemporaryDir folder;
    SampleDocuments documents(folder.path());
    std::unique_ptr<WelcomeWindowController> welcomeWindow;
    if (all || parser.isSet(welcome)) {
        welcomeWindow = std::make_unique<WelcomeWindowController>(
            documents, WelcomeWindowController::Options{QStringLiteral("Dunmoor Sketch"), sampleApplicationImage(),
                                                        QStringLiteral("showWelcomeWindowOnLaunch"), {}});
        welcomeWindow->viewModel().setActions(
            {std::make_shared<WelcomeAction>(QStringLiteral("Create New Document"), QStringLiteral("doc.badge.plus"), [] {}),
             std::make_shared<WelcomeAction>(QStringLiteral("Open Existing Document…"), QStringLiteral("folder"), [] {})});
        welcomeWindow->showWindow();
    }
    if (all || parser.isSet(whatsNew)) {
        auto *view = new HostedWhatsNewView(QStringLiteral("Dunmoor Sketch"), sampleFeatures());
        view->resize(480, view->sizeHint().height());
        view->show();
    }
    if (parser.isSet(feedback)) {
        const QString url = qEnvironmentVariable("LUMEVAR_FEEDBACK_URL", QStringLiteral("http://127.0.0.1:9"));
        auto *form = new FeedbackView({FeedbackSender(QUrl(url)), qEnvironmentVariable("LUMEVAR_FEEDBACK_TOKEN"),
                                       QStringLiteral("Dunmoor Sketch"), QStringLiteral("support@example.org"),
                                       IncludedLogs::currentProcess()});
        form->show();
        if (parser.isSet(message))
            form->messageField()->setPlainText(parser.value(message));
        if (parser.isSet(send))
            QTimer::singleShot(300, form, [form] { form->sendButton()->click(); });
    }
    return application.exec();
}
