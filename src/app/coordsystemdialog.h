#pragma once

#include <QDialog>
#include <optional>
#include <string>

#include "app/coordsystemlist.h"
#include "geom/transgen.h"

class QLabel;
class QLineEdit;
class QListWidget;
class QListWidgetItem;
class QPlainTextEdit;
class QPushButton;
class QTableView;

namespace tarnvale {

class ReadoutScale;

/// Asks for the coordinate system of positions: one used lately, one of the database found by name
/// or code as the user types, or one described by a pasted definition (WKT, PROJ string, code).
/// Accepting it puts the system in force and notes it among those used lately, which are kept
/// between runs. Thread: the user interface's.
class CoordSystemDialog final : public QDialog {
    Q_OBJECT

public:
    static constexpr int kRecentSystems = 5;

    /// @param scale, list  have to outlive the dialog
    /// @param landscape    where the landscape lies: systems that are meant for it come first
    CoordSystemDialog(ReadoutScale& scale, const CoordSystemList& list,
                      const std::optional<GeographicPlace>& landscape, QWidget* parent);

public slots:
    void accept() override;

private:
    void Build();
    void FillRecent();
    /// @return how the system in force was given; empty if it isn't among those used lately
    [[nodiscard]] std::string DefinitionInForce() const;
    void Search();
    void TakeTableRow();
    void TakeRecent(const QListWidgetItem* item);
    /// @return false if the text isn't understood as a system of maps
    bool TakeDefinition(const std::string& text);
    void TakeLandscapeSystem();
    void Show(const COORDREFSYS& system, const std::string& definition);
    void ShowNothing(const char* reason);
    bool eventFilter(QObject* watched, QEvent* event) override;

    ReadoutScale& scale_;
    const CoordSystemList& list_;
    COORDREFSYS chosen_;      // not Valid: the landscape's own
    std::string definition_;  // of chosen_, as it is kept; empty for the landscape's own
    QLineEdit* search_;
    CoordSystemModel* model_;
    QTableView* table_;
    QListWidget* recent_;
    QLabel* message_;
    QPlainTextEdit* area_;
    QPushButton* ok_ = nullptr;
};

}  // namespace tarnvale
