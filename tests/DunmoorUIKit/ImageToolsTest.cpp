// Thumbnails of real encoded images, the one image service the application uses.

#include "DunmoorUIKit/ImageThumbnailGenerator.h"
#include "TestKit/TestImages.h"

#include <QBuffer>
#include <QImageWriter>
#include <gtest/gtest.h>

namespace {

template <typename Failing>
int codeOf(Failing call)
{
    try {
        call();
    } catch (const Error &error) {
        return error.code();
    }
    return -1;
}

TEST(ImageThumbnailGenerator, LimitsTheLongerEdgeKeepsSmallImagesAndHonoursOrientation)
{
    const QByteArray wide = TestImages::encoded(QSize(1500, 500), "jpg");
    EXPECT_EQ(ImageThumbnailGenerator::createThumbnailOfImageWithSourceData(wide, 64).size(), QSize(64, 21));
    EXPECT_EQ(ImageThumbnailGenerator::createThumbnailOfImageWithSourceData(wide, 4000).size(), QSize(1500, 500));

    // A camera picture stored on its side with an orientation tag comes out upright.
    QImage landscape(200, 100, QImage::Format_RGB32);
    landscape.fill(Qt::blue);
    QByteArray tagged;
    QBuffer buffer(&tagged);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setTransformation(QImageIOHandler::TransformationRotate90);
    ASSERT_TRUE(writer.write(landscape));
    EXPECT_EQ(ImageThumbnailGenerator::createThumbnailOfImageWithSourceData(tagged, 64).size(), QSize(32, 64));
}

TEST(ImageThumbnailGenerator, BytesThatAreNoImageAreRefused)
{
    const QByteArray text("this is plain text, not a picture");
    EXPECT_EQ(codeOf([&] { ImageThumbnailGenerator::createThumbnailOfImageWithSourceData(text, 64); }),
              ImageThumbnailGeneratorError::invalidSource);
    EXPECT_EQ(codeOf([&] { ImageThumbnailGenerator::createThumbnailOfImageAtURL(QUrl::fromLocalFile(QStringLiteral("/nonexistent/x.png")), 64); }),
              ImageThumbnailGeneratorError::invalidSource);

    const QByteArray jpeg = TestImages::encoded(QSize(400, 400), "jpg");
    EXPECT_EQ(codeOf([&] { ImageThumbnailGenerator::createThumbnailOfImageWithSourceData(jpeg.left(jpeg.size() / 20), 64); }),
              ImageThumbnailGeneratorError::thumbnailCreationFailed);
}

} // namespace
