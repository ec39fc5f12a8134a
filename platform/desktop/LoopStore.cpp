#include "platform/desktop/LoopStore.h"

#include "platform/log/Log.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QStandardPaths>

namespace platform::desktop {

namespace {

constexpr qint64 kHashedBytes = 1 << 20;

// The store's contents; an empty object when there is no store or it cannot be read.
QJsonObject readStore(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        log("remembered loops: %s cannot be read (%s); it is left as it is",
            path.toLocal8Bit().constData(), error.errorString().toLocal8Bit().constData());
        return {};
    }
    return document.object();
}

bool writeStore(const QString& path, const QJsonObject& store) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(QJsonDocument(store).toJson());
    return file.commit();
}

QJsonObject gridObject(const GridMemory& grid) {
    QJsonObject object{{QStringLiteral("offset"), grid.offsetSeconds},
                       {QStringLiteral("doublings"), grid.tempoDoublings},
                       {QStringLiteral("beatsPerBar"), grid.beatsPerBar}};
    if (grid.firstBeatSeconds)
        object.insert(QStringLiteral("firstBeat"), *grid.firstBeatSeconds);
    if (grid.tappedTempoBpm)
        object.insert(QStringLiteral("tappedTempo"), *grid.tappedTempoBpm);
    return object;
}

GridMemory gridMemory(const QJsonObject& object) {
    GridMemory grid;
    grid.offsetSeconds = object.value(QStringLiteral("offset")).toDouble();
    grid.tempoDoublings = object.value(QStringLiteral("doublings")).toInt();
    grid.beatsPerBar = object.value(QStringLiteral("beatsPerBar")).toInt();
    if (object.contains(QStringLiteral("firstBeat")))
        grid.firstBeatSeconds = object.value(QStringLiteral("firstBeat")).toDouble();
    if (object.contains(QStringLiteral("tappedTempo")))
        grid.tappedTempoBpm = object.value(QStringLiteral("tappedTempo")).toDouble();
    return grid;
}

} // namespace

LoopStore::LoopStore(QString storePath) : path(std::move(storePath)) {}

QString LoopStore::defaultPath() {
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) +
           QStringLiteral("/loops.json");
}

QString LoopStore::fileKey(const QString& recordingPath) {
    QFile file(recordingPath);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(file.read(kHashedBytes));
    return QString::fromLatin1(hash.result().toHex()) + QLatin1Char(':') +
           QString::number(file.size());
}

RecordingMemory LoopStore::recall(const QString& key) const {
    RecordingMemory memory;
    const QJsonObject entry =
        readStore(path).value(QStringLiteral("recordings")).toObject().value(key).toObject();
    for (const QJsonValue& value : entry.value(QStringLiteral("loops")).toArray()) {
        const QJsonObject loop = value.toObject();
        memory.loops.push_back({loop.value(QStringLiteral("name")).toString(),
                                qint64(loop.value(QStringLiteral("start")).toDouble()),
                                qint64(loop.value(QStringLiteral("end")).toDouble())});
    }
    if (entry.contains(QStringLiteral("rate")))
        memory.rate = entry.value(QStringLiteral("rate")).toDouble();
    if (entry.contains(QStringLiteral("cents")))
        memory.cents = entry.value(QStringLiteral("cents")).toDouble();
    if (entry.contains(QStringLiteral("grid")))
        memory.grid = gridMemory(entry.value(QStringLiteral("grid")).toObject());
    return memory;
}

bool LoopStore::remember(const QString& key, const QString& recordingPath,
                         const RecordingMemory& memory) {
    if (key.isEmpty())
        return false;
    QJsonObject store = readStore(path);
    QJsonObject recordings = store.value(QStringLiteral("recordings")).toObject();
    QJsonArray loops;
    for (const SavedLoop& loop : memory.loops)
        loops.append(QJsonObject{{QStringLiteral("name"), loop.name},
                                 {QStringLiteral("start"), double(loop.startFrame)},
                                 {QStringLiteral("end"), double(loop.endFrame)}});
    QJsonObject entry{{QStringLiteral("path"), recordingPath}, {QStringLiteral("loops"), loops}};
    if (memory.rate)
        entry.insert(QStringLiteral("rate"), *memory.rate);
    if (memory.cents)
        entry.insert(QStringLiteral("cents"), *memory.cents);
    if (memory.grid)
        entry.insert(QStringLiteral("grid"), gridObject(*memory.grid));
    recordings.insert(key, entry);
    store.insert(QStringLiteral("recordings"), recordings);
    return writeStore(path, store);
}

bool LoopStore::restoresSpeedAndPitch() const {
    return readStore(path).value(QStringLiteral("restoreSpeedAndPitch")).toBool(true);
}

bool LoopStore::setRestoresSpeedAndPitch(bool restore) {
    QJsonObject store = readStore(path);
    store.insert(QStringLiteral("restoreSpeedAndPitch"), restore);
    return writeStore(path, store);
}

} // namespace platform::desktop
