// SPDX-License-Identifier: MIT
#include "Form.hpp"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QVBoxLayout>

#include "Tessaly/Core/Formatters/CurrencyFormatStyle.hpp"
#include "Tessaly/Core/Formatters/DateFormatter.hpp"
#include "Tessaly/Core/Formatters/ValueFormatter.hpp"
#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"
#include "Tessaly/Formatting/Formatters+NoEmojis.hpp"
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"

using namespace Tessaly;

Form::Form() : status_(new QLabel(this)) {
  setWindowTitle("Track (Qt)");
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(24, 20, 24, 20);
  column->setSpacing(16);
  auto* heading = new QLabel("Track", this);
  QFont large = heading->font();
  large.setPointSizeF(large.pointSizeF() * 1.6);
  large.setBold(true);
  heading->setFont(large);
  column->addWidget(heading);
  auto* grid = new QGridLayout;
  grid->setHorizontalSpacing(14);
  grid->setVerticalSpacing(10);
  column->addLayout(grid);

  add("Title", "up to 24 characters", Formatters::CharactersLimit::make(25), std::string());
  add("Artist", "no emoji", Formatters::NoEmojis::make(std::nullopt), std::string());
  auto volume = Formatters::RangeNumber<int>::make(ClosedRange(0, 100));
  volume->setSuffix(" %");
  add("Volume", "0 to 100", volume, 80);
  auto gain = Formatters::RangeNumber<double>::make(ClosedRange(-12.0, 12.0));
  gain->setMaximumFractionDigits(1);
  gain->setSuffix(" dB");
  add("Gain", "−12 to +12", gain, 0.0);
  auto fade = Formatters::RangeNumber<double>::make(ClosedRange(0.0, 10.0));
  fade->setMaximumFractionDigits(2);
  fade->setSuffix(" s");
  fade->setAcceptsEmptyString(true);
  add("Fade", "0 to 10, or nothing", fade, 1.5);
  auto dates = DateFormatter::make();
  dates->setDateStyle(DateFormatter::Style::long_);
  add("Released", "a date", dates, Date::since1970(1'688'558'400));
  add("Price", "euros", fieldFormatter(CurrencyFormatStyle("EUR")), 24.9);
  add("Weight", "grams, or another unit", fieldFormatter(MeasurementFormatStyle(), Quantity::Unit::gram),
      Quantity{180, Quantity::Unit::gram});

  auto* bottom = new QHBoxLayout;
  status_->setMinimumWidth(300);
  bottom->addWidget(status_, 1);
  auto* save = new QPushButton("Save", this);
  save->setAutoDefault(true);
  QObject::connect(save, &QPushButton::clicked, this, [this] {
    QString contents;
    for (const Row& row : rows_) contents += row.name + ": " + row.field->text() + '\n';
    if (save_) save_(contents);
  });
  bottom->addWidget(save);
  column->addLayout(bottom);
  say("Type into the fields.");
}

template <typename Kind>
void Form::add(const char* name, const char* hint, std::shared_ptr<Kind> formatter, std::any object) {
  auto* grid = static_cast<QGridLayout*>(layout()->itemAt(1)->layout());
  const int row = grid->rowCount();
  auto* field = new QLineEdit(this);
  field->setObjectName(name);
  field->setMinimumWidth(220);
  auto* label = new QLabel(QString::fromUtf8(name), this);
  label->setBuddy(field);
  auto* about = new QLabel(QString::fromUtf8(hint), this);
  about->setForegroundRole(QPalette::PlaceholderText);
  grid->addWidget(label, row, 0);
  grid->addWidget(field, row, 1);
  grid->addWidget(about, row, 2);

  auto* validator = new Qt6::FormatterValidator(std::move(formatter), field);
  validator->setObjectValue(std::move(object));
  validator->onEditingEnd(
      [this, field](const std::any&) { say(field->objectName() + " is “" + field->text() + "”."); });
  validator->onRefusal([this, field](std::string_view, std::string_view reason) {
    say(field->objectName() + ": " + QString::fromUtf8(reason.data(), static_cast<qsizetype>(reason.size())));
  });
  rows_.push_back({QString::fromUtf8(name), field});
}

void Form::say(const QString& text) { status_->setText(text); }
