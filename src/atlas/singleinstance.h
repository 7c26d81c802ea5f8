#pragma once

#include <QLocalServer>
#include <QLockFile>
#include <QObject>
#include <memory>

#include "base/types.h"

namespace tarnvale {

/// One window for each atlas file of a user: the first program that claims a file listens, a later
/// one calls it. Lock and socket lie in the user's runtime folder; what a dead program left there
/// is no hindrance. Thread: the user interface's.
class SingleInstance final : public QObject {
    Q_OBJECT

public:
    enum class Claim : std::uint8_t {
        Mine,    ///< also where nobody can be reached: two windows are better than none
        Called,  ///< another program has the file, and shows its window now
    };

    /// Claims a file, in place of the one claimed before if the answer is Mine.
    [[nodiscard]] Claim Take(const FILEPATH& file);

signals:
    /// Another program was started for the claimed file.
    void ShowWanted();

private:
    [[nodiscard]] static bool Call(const QString& socket);
    void Listen(const QString& socket);

    std::unique_ptr<QLockFile> lock_;
    std::unique_ptr<QLocalServer> server_;
};

}  // namespace tarnvale
