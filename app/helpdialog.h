#pragma once

#include <QDialog>

namespace Ui {
class HelpDialog;
}

// The user guide window of Help > Index.
class HelpDialog : public QDialog
{
    Q_OBJECT

public:
    explicit HelpDialog(QWidget *parent = nullptr);
    ~HelpDialog() override;

protected:
    void changeEvent(QEvent *event) override;

private:
    Ui::HelpDialog *ui;
};
