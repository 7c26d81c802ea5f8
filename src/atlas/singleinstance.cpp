#include "atlas/singleinstance.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QThread>
#include <system_error>

namespace tarnvale {

namespace {

constexpr int kTries = 20, kPause = 50;  // milliseconds; the other may be starting just now
constexpr int kPatience = 1000;          // milliseconds

// A name for the file, however its path is spelled; short, since names of sockets have to be.
QString PlaceFor(const FILEPATH& file) {
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (folder.isEmpty() || !QDir().mkpath(folder)) return {};
    std::error_code failed;
    const FILEPATH canonical = std::filesystem::weakly_canonical(file, failed);
    const QByteArray name = QCryptographicHash::hash(
        QByteArray::fromStdString((failed ? file : canonical).string()), QCryptographicHash::Sha1);
    return folder + QStringLiteral("/sedgelineatlas-") + QString::fromLatin1(name.toHex().left(20));
}

}  // namespace

bool SingleInstance::Call(const QString& socket) {
    QLocalSocket line;
    line.connectToServer(socket);
    if (!line.waitForConnected(kPatience)) return false;
    // The answer tells that the other has heard, and isn't a socket that nobody serves.
    return line.waitForReadyRead(kPatience) && line.readAll().startsWith("shown");
}

void SingleInstance::Listen(const QString& socket) {
    QLocalServer::removeServer(socket);  // the lock is ours, so it is a dead program's
    server_ = std::make_unique<QLocalServer>();
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server_->listen(socket)) return;
    connect(server_.get(), &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* const caller = server_->nextPendingConnection()) {
            connect(caller, &QLocalSocket::disconnected, caller, &QObject::deleteLater);
            caller->write("shown\n");
            caller->flush();
            emit ShowWanted();
        }
    });
}

SingleInstance::Claim SingleInstance::Take(const FILEPATH& file) {
    const QString place = PlaceFor(file);
    if (place.isEmpty()) return Claim::Mine;
    const QString socket = place + QStringLiteral(".socket");
    if (server_ != nullptr && server_->fullServerName() == socket) return Claim::Mine;
    auto lock = std::make_unique<QLockFile>(place + QStringLiteral(".lock"));
    lock->setStaleLockTime(0);  // as long as its program lives
    for (int i = 0; i < kTries; ++i) {
        if (lock->tryLock(0)) {
            server_.reset();
            lock_ = std::move(lock);
            Listen(socket);
            return Claim::Mine;
        }
        if (lock->error() != QLockFile::LockFailedError) break;  // nothing can be locked here
        if (Call(socket)) return Claim::Called;
        QThread::msleep(kPause);
    }
    return Claim::Mine;
}

}  // namespace tarnvale
