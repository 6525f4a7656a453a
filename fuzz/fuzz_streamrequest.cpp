#include "byterange_p.h"
#include "streamrequestparser_p.h"

#include <QtGlobal>

#include <cstddef>
#include <cstdint>

namespace {
// The parser logs every fault; the fuzzer only looks for crashes, hangs and undefined behaviour.
void dropMessage(QtMsgType, const QMessageLogContext &, const QString &) { }
} // namespace

// The input arrives in pieces of sizes taken from its first byte, as a client's reads would;
// every complete request's Range header is read against a file size taken from its second byte.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const auto previous = qInstallMessageHandler(dropMessage);
    Q_UNUSED(previous)
    if (size < 2) {
        return 0;
    }
    const qsizetype piece = data[0] + 1;
    const qint64 fileSize = qint64(data[1]) * 1000;
    const QByteArray input(reinterpret_cast<const char *>(data + 2), qsizetype(size - 2));

    network::StreamRequestParser parser;
    for (qsizetype at = 0; at < input.size(); at += piece) {
        parser.append(input.mid(at, piece));
        while (parser.consumeLine()) {
            if (parser.state() == network::StreamRequestParser::RequestComplete) {
                const auto range = parser.headers().constFind("Range");
                if (range != parser.headers().cend()) {
                    QList<network::ByteRange> ranges;
                    network::parseByteRanges(*range, fileSize, ranges);
                }
                parser.startNextRequest();
            } else if (parser.state() == network::StreamRequestParser::ParseFailed) {
                parser.startNextRequest();
            }
        }
        parser.isHeadTooLarge();
    }
    return 0;
}
