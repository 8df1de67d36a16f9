#include "gui/render/ControlWidgets.h"

#include "gui/base/QtText.h"
#include "gui/base/Watch.h"
#include "gui/base/WidgetRegistry.h"
#include "platform/ui/ColorBox.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/PictureBox.h"
#include "platform/ui/StdCtrls.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QFocusEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QResizeEvent>
#include <QSpinBox>
#include <climits>

namespace korvel::gui {

namespace {

template <class TModel, class TWidget, class F> TWatch* Watch(TWidget* widget, TModel& model, F onChange) {
    QPointer<TWidget> guard(widget);
    return new TWatch(widget, model, [guard, onChange](const TChange& change) {
        if (guard)
            onChange(guard.data(), change);
    });
}

// A watch that shows the model in the widget on every change, with the widget's own signals treated as
// echoes (Applying) while it does.
template <class TWidget, class F> TWatch* WatchApplying(TWidget* widget, TComponent& model, F apply) {
    auto self = std::make_shared<TWatch*>(nullptr);
    QPointer<TWidget> guard(widget);
    auto* watch = new TWatch(widget, model, [self, guard, apply](const TChange&) {
        if (guard && *self)
            (*self)->Apply([&] { apply(guard.data()); });
    });
    *self = watch;
    watch->Apply([&] { apply(widget); });
    return watch;
}

// Runs the model's exit event when the widget loses the focus.
class TExitFilter : public QObject {
public:
    TExitFilter(QObject* parent, TWatch* watch, std::function<void()> onExit)
        : QObject(parent), watch_(watch), onExit_(std::move(onExit)) {}
    bool eventFilter(QObject* object, QEvent* event) override {
        if (event->type() == QEvent::FocusOut && watch_->Alive())
            onExit_();
        return QObject::eventFilter(object, event);
    }

private:
    TWatch* watch_;
    std::function<void()> onExit_;
};

// An edit's exit: the focus moving to another control of the window, not the window losing it (a message
// box, another program, a pop-up menu). The handler may take the focus back.
class TEditExitFilter : public QObject {
public:
    TEditExitFilter(QLineEdit* edit, TWatch* watch, TEdit& model)
        : QObject(edit), watch_(watch), model_(model) {}
    bool eventFilter(QObject* object, QEvent* event) override {
        if (event->type() == QEvent::FocusOut && watch_->Alive()) {
            const Qt::FocusReason reason = static_cast<QFocusEvent*>(event)->reason();
            if (reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason && !model_.DoExit()) {
                QPointer<QWidget> edit(static_cast<QWidget*>(parent()));
                QMetaObject::invokeMethod(
                    edit,
                    [edit] {
                        if (edit)
                            edit->setFocus(Qt::OtherFocusReason);
                    },
                    Qt::QueuedConnection);
            }
        }
        return QObject::eventFilter(object, event);
    }

private:
    TWatch* watch_;
    TEdit& model_;
};

QWidget* MakeLabel(TControl& control, QWidget* parent) {
    auto& model = dynamic_cast<TLabel&>(control);
    auto* label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    auto apply = [&model](QLabel* w, const TChange&) {
        w->setText(ToQ(model.Caption()));
        w->setWordWrap(model.WordWrap());
        if (model.WordWrap())
            w->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    };
    apply(label, {TChangeKind::Caption});
    Watch(label, model, apply);
    return label;
}

QWidget* MakePanel(TControl& /*control*/, QWidget* parent) {
    return new QWidget(parent);
}

QWidget* MakeGroupBox(TControl& control, QWidget* parent) {
    auto* box = new QGroupBox(ToQ(control.Caption()), parent);
    Watch(box, control, [&control](QGroupBox* w, const TChange& change) {
        if (change.Kind == TChangeKind::Caption)
            w->setTitle(ToQ(control.Caption()));
    });
    return box;
}

QWidget* MakeEdit(TControl& control, QWidget* parent) {
    auto& model = dynamic_cast<TEdit&>(control);
    auto* edit = new QLineEdit(parent);
    auto apply = [&model](QLineEdit* w) {
        if (w->text() != ToQ(model.Text()))
            w->setText(ToQ(model.Text()));
        w->setReadOnly(model.ReadOnly());
        w->setMaxLength(model.MaxLength() > 0 ? model.MaxLength() : 32767);
    };
    TWatch* watch = WatchApplying(edit, model, apply);
    QObject::connect(edit, &QLineEdit::textEdited, edit, [watch, &model](const QString& text) {
        if (watch->Alive() && !watch->Applying())
            model.SetText(FromQ(text));
    });
    edit->installEventFilter(new TEditExitFilter(edit, watch, model));
    return edit;
}

QWidget* MakeMemo(TControl& control, QWidget* parent) {
    auto& model = dynamic_cast<TMemo&>(control);
    auto* memo = new QPlainTextEdit(parent);
    auto apply = [&model](QPlainTextEdit* w) {
        if (w->toPlainText() != ToQ(model.Text()))
            w->setPlainText(ToQ(model.Text()));
        w->setReadOnly(model.ReadOnly());
        w->setLineWrapMode(model.WordWrap() ? QPlainTextEdit::WidgetWidth : QPlainTextEdit::NoWrap);
    };
    TWatch* watch = WatchApplying(memo, model, apply);
    QObject::connect(memo, &QPlainTextEdit::textChanged, memo, [watch, memo, &model] {
        if (watch->Alive() && !watch->Applying())
            model.SetText(FromQ(memo->toPlainText()));
    });
    memo->installEventFilter(new TExitFilter(memo, watch, [&model] { model.DoExit(); }));
    return memo;
}

QWidget* MakeCheckBox(TControl& control, QWidget* parent) {
    auto& model = dynamic_cast<TCheckBox&>(control);
    auto* box = new QCheckBox(ToQ(model.Caption()), parent);
    box->setChecked(model.Checked());
    TWatch* watch = Watch(box, model, [&model](QCheckBox* w, const TChange&) {
        w->setText(ToQ(model.Caption()));
        w->setChecked(model.Checked());
    });
    QObject::connect(box, &QCheckBox::clicked, box, [watch, box, &model](bool) {
        if (!watch->Alive())
            return;
        model.Toggle();
        // A handler may refuse the change: show what the model holds.
        if (watch->Alive())
            box->setChecked(model.Checked());
    });
    return box;
}

QWidget* MakeButton(TControl& control, QWidget* parent) {
    auto& model = dynamic_cast<TButton&>(control);
    auto* button = new QPushButton(ToQ(model.Caption()), parent);
    auto apply = [&model](QPushButton* w, const TChange&) {
        w->setText(ToQ(model.Caption()));
        w->setDefault(model.Default());
        w->setAutoDefault(model.Default());
    };
    apply(button, {TChangeKind::Caption});
    TWatch* watch = Watch(button, model, apply);
    QObject::connect(button, &QPushButton::clicked, button, [watch, &model] {
        if (watch->Alive())
            model.Click();
    });
    return button;
}

QWidget* MakeSpinEdit(TControl& control, QWidget* parent) {
    auto& model = dynamic_cast<TSpinEdit&>(control);
    auto* spin = new QSpinBox(parent);
    auto apply = [&model](QSpinBox* w) {
        // Equal limits mean "no limits", as in the model.
        if (model.MinValue() == model.MaxValue())
            w->setRange(INT_MIN, INT_MAX);
        else
            w->setRange(model.MinValue(), model.MaxValue());
        w->setSingleStep(model.Increment());
        w->setValue(model.Value());
        w->setReadOnly(model.ReadOnly());
    };
    TWatch* watch = WatchApplying(spin, model, apply);
    QObject::connect(spin, &QSpinBox::valueChanged, spin, [watch, spin, &model](int value) {
        if (!watch->Alive() || watch->Applying())
            return;
        model.SetValue(value);
        if (watch->Alive() && model.Value() != value)
            watch->Apply([&] { spin->setValue(model.Value()); });
    });
    return spin;
}

QWidget* MakeComboBox(TControl& control, QWidget* parent) {
    auto& model = dynamic_cast<TComboBox&>(control);
    auto* combo = new QComboBox(parent);
    combo->setInsertPolicy(QComboBox::NoInsert);
    auto apply = [&model](QComboBox* w) {
        QStringList items;
        for (const std::string& item : model.Items())
            items << ToQ(item);
        QStringList shown;
        for (int i = 0; i < w->count(); ++i)
            shown << w->itemText(i);
        if (shown != items) {
            w->clear();
            w->addItems(items);
        }
        w->setEditable(model.Style() == csDropDown);
        w->setCurrentIndex(model.ItemIndex());
        if (w->isEditable() && w->currentText() != ToQ(model.Text()))
            w->setEditText(ToQ(model.Text()));
        // A combo box has no read-only look of its own; a read-only one shows its value but cannot change.
        w->setProperty("korvelReadOnly", model.ReadOnly());
        w->setEnabled(!model.ReadOnly() && model.Enabled());
    };
    TWatch* watch = WatchApplying(combo, model, apply);
    QObject::connect(combo, &QComboBox::activated, combo, [watch, combo, &model](int index) {
        if (!watch->Alive() || watch->Applying())
            return;
        model.SetItemIndex(index);
        if (watch->Alive() && model.ItemIndex() != index)
            watch->Apply([&] { combo->setCurrentIndex(model.ItemIndex()); });
    });
    QObject::connect(combo, &QComboBox::editTextChanged, combo, [watch, &model](const QString& text) {
        if (watch->Alive() && !watch->Applying() && model.Style() == csDropDown)
            model.SetText(FromQ(text));
    });
    return combo;
}

QWidget* MakeRadioGroup(TControl& control, QWidget* parent) {
    auto& model = dynamic_cast<TRadioGroup&>(control);
    auto* box = new QGroupBox(ToQ(model.Caption()), parent);
    auto* buttons = new QButtonGroup(box);
    auto* layout = new QGridLayout(box);
    layout->setContentsMargins(8, 4, 8, 4);
    auto rebuild = [&model, box, buttons, layout] {
        for (QAbstractButton* b : buttons->buttons()) {
            buttons->removeButton(b);
            delete b;
        }
        const int columns = std::max(1, model.Columns());
        const int rows = (static_cast<int>(model.Items().size()) + columns - 1) / columns;
        for (int i = 0; i < static_cast<int>(model.Items().size()); ++i) {
            auto* radio = new QRadioButton(ToQ(model.Items()[static_cast<std::size_t>(i)]), box);
            buttons->addButton(radio, i);
            // Items run down the first column, then the next, as in the classic radio group.
            layout->addWidget(radio, rows > 0 ? i % rows : 0, rows > 0 ? i / rows : 0);
        }
    };
    auto select = [&model, buttons] {
        if (QAbstractButton* b = buttons->button(model.ItemIndex())) {
            b->setChecked(true);
        } else if (QAbstractButton* checked = buttons->checkedButton()) {
            buttons->setExclusive(false);
            checked->setChecked(false);
            buttons->setExclusive(true);
        }
    };
    rebuild();
    select();
    TWatch* watch = Watch(box, model, [&model, rebuild, select](QGroupBox* w, const TChange& change) {
        if (change.Kind == TChangeKind::Caption)
            w->setTitle(ToQ(model.Caption()));
        if (change.Kind == TChangeKind::Items || change.Kind == TChangeKind::Style)
            rebuild();
        select();
    });
    QObject::connect(buttons, &QButtonGroup::idClicked, box, [watch, &model, select](int id) {
        if (!watch->Alive())
            return;
        model.SetItemIndex(id);
        if (watch->Alive())
            select();
    });
    return box;
}

QWidget* MakeListBox(TControl& control, QWidget* parent) {
    auto& model = dynamic_cast<TListBox&>(control);
    auto* list = new QListWidget(parent);
    auto apply = [&model](QListWidget* w) {
        QStringList items;
        for (const std::string& item : model.Items())
            items << ToQ(item);
        bool same = w->count() == items.size();
        for (int i = 0; same && i < w->count(); ++i)
            same = w->item(i)->text() == items[i];
        if (!same) {
            w->clear();
            w->addItems(items);
        }
        for (int i = 0; i < w->count(); ++i) {
            const TColor color = model.ItemColor(i);
            if (color == clDefault) {
                w->item(i)->setData(Qt::BackgroundRole, QVariant());
                w->item(i)->setData(Qt::ForegroundRole, QVariant());
            } else {
                const QColor back = ToQColor(color);
                w->item(i)->setBackground(back);
                w->item(i)->setForeground(back.lightness() < 128 ? Qt::white : Qt::black);
            }
        }
        w->setSelectionMode(model.MultiSelect() ? QAbstractItemView::ExtendedSelection
                                                : QAbstractItemView::SingleSelection);
        for (int i = 0; i < w->count(); ++i)
            w->item(i)->setSelected(model.MultiSelect() ? model.Selected(i) : i == model.ItemIndex());
        if (model.ItemIndex() >= 0)
            w->setCurrentRow(model.ItemIndex(), QItemSelectionModel::NoUpdate);
    };
    TWatch* watch = WatchApplying(list, model, apply);
    QObject::connect(list, &QListWidget::itemSelectionChanged, list, [watch, list, &model] {
        if (!watch->Alive() || watch->Applying())
            return;
        if (model.MultiSelect()) {
            for (int i = 0; i < list->count() && watch->Alive(); ++i)
                model.SetSelected(i, list->item(i)->isSelected());
        }
        if (watch->Alive() && list->currentRow() >= 0)
            model.SetItemIndex(list->currentRow());
    });
    // A double click or Enter.
    QObject::connect(list, &QListWidget::itemActivated, list, [watch, &model](QListWidgetItem*) {
        if (watch->Alive())
            model.DblClick();
    });
    return list;
}

// A button showing the colour as a swatch with its hex code; a click asks for another.
QWidget* MakeColorBox(TControl& control, QWidget* parent) {
    auto& model = dynamic_cast<TColorBox&>(control);
    auto* button = new QPushButton(parent);
    auto apply = [&model](QPushButton* w, const TChange&) {
        const QColor color = ToQColor(model.Color());
        QPixmap swatch(36, 14);
        swatch.fill(color);
        w->setIcon(QIcon(swatch));
        w->setIconSize(swatch.size());
        w->setText(color.name());
        w->setProperty("korvelReadOnly", model.ReadOnly());
        w->setEnabled(!model.ReadOnly() && model.Enabled());
    };
    apply(button, {TChangeKind::Value});
    TWatch* watch = Watch(button, model, apply);
    QObject::connect(button, &QPushButton::clicked, button, [watch, &model] {
        if (watch->Alive())
            model.Choose();
    });
    return button;
}

// Shows the picture scaled as the model's flags ask whenever the picture or the widget's size changes.
class TPictureLabel : public QLabel {
public:
    TPictureLabel(TPictureBox& model, QWidget* parent) : QLabel(parent), model_(model) {
        watch_ = new TWatch(this, model_, [this](const TChange&) { Reload(); });
        Reload();
    }

protected:
    void resizeEvent(QResizeEvent* event) override {
        QLabel::resizeEvent(event);
        Scale();
    }

private:
    void Reload() {
        pixmap_ = QPixmap();
        if (!model_.Empty())
            pixmap_.loadFromData(model_.Bytes().data(), static_cast<uint>(model_.Bytes().size()));
        setAlignment(model_.Center() ? Qt::AlignCenter : Qt::AlignLeft | Qt::AlignTop);
        Scale();
    }
    void Scale() {
        // Without a picture nothing is drawn, not even the frame: an empty box says nothing.
        setFrameShape(pixmap_.isNull() ? QFrame::NoFrame : QFrame::StyledPanel);
        if (!watch_->Alive() || pixmap_.isNull()) {
            clear();
            return;
        }
        const QSize room = contentsRect().size();
        const bool shrink = pixmap_.width() > room.width() || pixmap_.height() > room.height();
        if (model_.Stretch() || (model_.Proportional() && shrink)) {
            setPixmap(pixmap_.scaled(room,
                                     model_.Proportional() ? Qt::KeepAspectRatio : Qt::IgnoreAspectRatio,
                                     Qt::SmoothTransformation));
        } else {
            setPixmap(pixmap_);
        }
    }

    TPictureBox& model_;
    TWatch* watch_ = nullptr;
    QPixmap pixmap_;
};

QWidget* MakePicture(TControl& control, QWidget* parent) {
    return new TPictureLabel(dynamic_cast<TPictureBox&>(control), parent);
}

} // namespace

void RegisterStandardWidgets() {
    RegisterWidgetFactory("TLabel", MakeLabel);
    RegisterWidgetFactory("TPanel", MakePanel);
    RegisterWidgetFactory("TGroupBox", MakeGroupBox);
    RegisterWidgetFactory("TEdit", MakeEdit);
    RegisterWidgetFactory("TMemo", MakeMemo);
    RegisterWidgetFactory("TCheckBox", MakeCheckBox);
    RegisterWidgetFactory("TButton", MakeButton);
    RegisterWidgetFactory("TSpinEdit", MakeSpinEdit);
    RegisterWidgetFactory("TComboBox", MakeComboBox);
    RegisterWidgetFactory("TRadioGroup", MakeRadioGroup);
    RegisterWidgetFactory("TListBox", MakeListBox);
    RegisterWidgetFactory("TColorBox", MakeColorBox);
    RegisterWidgetFactory("TPictureBox", MakePicture);
}

} // namespace korvel::gui
