#include "platform/acoustic/Directivity.h"

#include "platform/Errors.h"
#include "platform/base/Blob.h"
#include "platform/db/Table.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace korvel::acoustic {

namespace {

constexpr std::uint16_t kBlobVersion = 1;
// More values than any sane grid holds (1 degree steps over 44 bands) mark a damaged count.
constexpr std::size_t kMaxBlobValues = 44u * 181u * 360u;

bool ValidStep(int step, int range) {
    return step >= 1 && step <= 90 && range % step == 0;
}

int NearestIndex(double angle, int step, int count, bool wrap) {
    int i = static_cast<int>(std::lround(angle / step));
    if (wrap)
        i = ((i % count) + count) % count;
    return std::clamp(i, 0, count - 1);
}

class TReader {
public:
    TReader(TByteSpan bytes, const char* what) : bytes_(bytes), what_(what) {}
    void Need(std::size_t n) {
        if (bytes_.size() - pos_ < n)
            throw EKorvelError(std::string("The ") + what_ +
                               " of this directivity are damaged (they end early).");
    }
    std::uint16_t U16() {
        Need(2);
        const std::uint16_t v = LoadU16LE(bytes_.data() + pos_);
        pos_ += 2;
        return v;
    }
    std::uint32_t U32() {
        Need(4);
        const std::uint32_t v = LoadU32LE(bytes_.data() + pos_);
        pos_ += 4;
        return v;
    }
    double F32() {
        Need(4);
        const float v = LoadF32LE(bytes_.data() + pos_);
        pos_ += 4;
        if (!std::isfinite(v))
            throw EKorvelError(std::string("The ") + what_ +
                               " of this directivity hold a value that is no number.");
        return v;
    }
    void End() const {
        if (pos_ != bytes_.size())
            throw EKorvelError(std::string("The ") + what_ + " of this directivity are damaged (" +
                               std::to_string(bytes_.size() - pos_) + " bytes too many).");
    }

private:
    TByteSpan bytes_;
    const char* what_;
    std::size_t pos_ = 0;
};

int IntField(db::TTable& t, const char* name, int def) {
    db::TField* f = t.FindField(name);
    return f && !f->IsNull() ? f->AsInteger() : def;
}

} // namespace

TDirectivity::TDirectivity() {
    Init();
}

void TDirectivity::Init() {
    dirType_ = TDirType::RotationallySymmetric;
    specType_ = TSpecType::SingleValue;
    bmin_ = bmax_ = 27;
    stepH_ = stepV_ = 5;
    Samples.clear();
    items_.clear();
    Reshape(stepH_, stepV_, false);
}

std::vector<int> TDirectivity::BandList() const {
    // A frequency-independent directivity has one band item, at its first band.
    if (specType_ == TSpecType::SingleValue)
        return {bmin_};
    return BandsInRange(specType_, bmin_, bmax_);
}

int TDirectivity::ThetaCount() const {
    return dirType_ == TDirType::Horizontal ? 1 : 180 / stepV_ + 1;
}

int TDirectivity::PhiCount() const {
    return 360 / stepH_;
}

double TDirectivity::ThetaOf(int row) const {
    // A horizontal directivity lies in the plane theta = 90 degrees.
    return dirType_ == TDirType::Horizontal ? 90.0 : static_cast<double>(row * stepV_);
}

double TDirectivity::PhiOf(int col) const {
    return static_cast<double>(col * stepH_);
}

void TDirectivity::Reshape(int oldStepH, int oldStepV, bool oldHorizontal) {
    // A grid of other bands or steps is no longer what the last interpolation gave.
    interpolated_ = false;
    const std::vector<int> bands = BandList();
    const int rows = ThetaCount(), cols = PhiCount();
    const int oldRows = oldHorizontal ? 1 : 180 / oldStepV + 1;
    const int oldCols = 360 / oldStepH;
    std::vector<TDirBandItem> items;
    for (int band : bands) {
        TDirBandItem item;
        item.Band = band;
        item.Values.assign(static_cast<std::size_t>(rows * cols), 0.0);
        auto old =
            std::find_if(items_.begin(), items_.end(), [&](const TDirBandItem& i) { return i.Band == band; });
        if (old != items_.end() && old->Values.size() == static_cast<std::size_t>(oldRows * oldCols)) {
            for (int r = 0; r < rows; ++r) {
                const int oldRow = oldHorizontal ? 0 : NearestIndex(ThetaOf(r), oldStepV, oldRows, false);
                for (int c = 0; c < cols; ++c) {
                    const int oldCol = NearestIndex(PhiOf(c), oldStepH, oldCols, true);
                    item.Values[static_cast<std::size_t>(r * cols + c)] =
                        old->Values[static_cast<std::size_t>(oldRow * oldCols + oldCol)];
                }
            }
            item.dLtot = old->dLtot;
        }
        items.push_back(std::move(item));
    }
    // Samples keep one value per band item.
    for (TSampleItem& s : Samples) {
        std::vector<double> values(bands.size(), 0.0);
        for (std::size_t i = 0; i < bands.size(); ++i)
            for (std::size_t j = 0; j < items_.size() && j < s.Values.size(); ++j)
                if (items_[j].Band == bands[i])
                    values[i] = s.Values[j];
        s.Values = std::move(values);
    }
    items_ = std::move(items);
}

void TDirectivity::SetDirType(TDirType type) {
    const bool wasHorizontal = dirType_ == TDirType::Horizontal;
    dirType_ = type;
    Reshape(stepH_, stepV_, wasHorizontal);
}

void TDirectivity::SetSpecType(TSpecType type) {
    specType_ = type;
    SetBMinBMax(bmin_, bmax_);
}

void TDirectivity::SetBMinBMax(int bmin, int bmax) {
    NormalizeBandRange(specType_, bmin, bmax);
    bmin_ = bmin;
    bmax_ = bmax;
    Reshape(stepH_, stepV_, dirType_ == TDirType::Horizontal);
}

void TDirectivity::SetStep(int horizontal, int vertical) {
    if (!ValidStep(horizontal, 360) || !ValidStep(vertical, 180))
        throw EKorvelError("An angle step must divide 360 (horizontal) and 180 (vertical) degrees evenly; " +
                           std::to_string(horizontal) + " and " + std::to_string(vertical) + " do not.");
    const int oldH = stepH_, oldV = stepV_;
    stepH_ = horizontal;
    stepV_ = vertical;
    Reshape(oldH, oldV, dirType_ == TDirType::Horizontal);
}

TDirBandItem& TDirectivity::GetItem(int index) {
    if (index < 0 || index >= BandCount())
        throw EKorvelError("The directivity has no band item " + std::to_string(index) + ".");
    return items_[static_cast<std::size_t>(index)];
}

const TDirBandItem& TDirectivity::GetItem(int index) const {
    return const_cast<TDirectivity*>(this)->GetItem(index);
}

double TDirectivity::Value(int index, int row, int col) const {
    const TDirBandItem& item = GetItem(index);
    if (row < 0 || row >= ThetaCount() || col < 0 || col >= PhiCount())
        throw EKorvelError("The angle grid has no cell " + std::to_string(row) + ", " + std::to_string(col) +
                           ".");
    return item.Values[static_cast<std::size_t>(row * PhiCount() + col)];
}

void TDirectivity::SetValue(int index, int row, int col, double value) {
    (void)Value(index, row, col); // checks the position
    GetItem(index).Values[static_cast<std::size_t>(row * PhiCount() + col)] = value;
}

std::string TDirectivity::BandStr(int index) const {
    const TDirBandItem& item = GetItem(index);
    if (specType_ == TSpecType::SingleValue)
        return "All frequencies";
    return std::string(ThirdOctavesStrShort[static_cast<std::size_t>(item.Band)]) + " Hz";
}

TSampleItem& TDirectivity::AddSample(double theta, double phi, double value) {
    TSampleItem s;
    s.SetTheta(theta);
    s.SetPhi(phi);
    s.Values.assign(items_.size(), value);
    Samples.push_back(std::move(s));
    return Samples.back();
}

void TDirectivity::CalcLtot() {
    const int rows = ThetaCount(), cols = PhiCount();
    // Solid angle of each theta row: the zone between the half steps around it (caps at the poles).
    std::vector<double> weight(static_cast<std::size_t>(rows), 1.0);
    if (dirType_ != TDirType::Horizontal) {
        const double half = stepV_ / 2.0 * std::numbers::pi / 180.0;
        for (int r = 0; r < rows; ++r) {
            const double t = ThetaOf(r) * std::numbers::pi / 180.0;
            const double lo = std::max(0.0, t - half), hi = std::min(std::numbers::pi, t + half);
            weight[static_cast<std::size_t>(r)] = std::cos(lo) - std::cos(hi);
        }
    }
    double total = 0;
    for (double w : weight)
        total += w;
    for (TDirBandItem& item : items_) {
        double energy = 0;
        for (int r = 0; r < rows; ++r)
            for (int c = 0; c < cols; ++c)
                energy += weight[static_cast<std::size_t>(r)] *
                          std::pow(10.0, item.Values[static_cast<std::size_t>(r * cols + c)] / 10.0);
        item.dLtot = 10.0 * std::log10(energy / (total * cols));
    }
}

void TDirectivity::SaveToLibrary(db::TTable& table, const std::string& name) const {
    if (!table.Editing())
        throw EKorvelError("The directivity \"" + name + "\" is not being edited.");
    if (db::TField* f = table.FindField("ElementName"))
        f->SetAsString(name);
    auto setInt = [&](const char* field, int v) {
        if (db::TField* f = table.FindField(field))
            f->SetAsInteger(v);
    };
    setInt("DirType", static_cast<int>(dirType_));
    setInt("SpecType", static_cast<int>(specType_));
    setInt("BMin", bmin_);
    setInt("BMax", bmax_);
    setInt("StepH", stepH_);
    setInt("StepV", stepV_);

    TBlobWriter samples;
    samples.U16(kBlobVersion)
        .U16(static_cast<std::uint16_t>(items_.size()))
        .U32(static_cast<std::uint32_t>(Samples.size()));
    for (const TSampleItem& s : Samples) {
        samples.F32(static_cast<float>(s.Theta())).F32(static_cast<float>(s.Phi()));
        for (std::size_t i = 0; i < items_.size(); ++i)
            samples.F32(static_cast<float>(i < s.Values.size() ? s.Values[i] : 0.0));
    }
    if (db::TField* f = table.FindField("Samples"))
        f->SetAsBytes(samples.Blob());

    TBlobWriter values;
    values.U16(kBlobVersion)
        .U16(static_cast<std::uint16_t>(items_.size()))
        .U16(static_cast<std::uint16_t>(ThetaCount()))
        .U16(static_cast<std::uint16_t>(PhiCount()));
    for (const TDirBandItem& item : items_) {
        values.U16(static_cast<std::uint16_t>(item.Band)).F32(static_cast<float>(item.dLtot));
        for (double v : item.Values)
            values.F32(static_cast<float>(v));
    }
    if (db::TField* f = table.FindField("DirValues"))
        f->SetAsBytes(values.Blob());
}

void TDirectivity::ReadFromLibrary(db::TTable& table, int number) {
    if (!table.Active())
        throw EKorvelError("The directivity library is not open.");
    if (number != -999 && !table.Locate("Eintrag", {db::TValue(std::int64_t{number})}))
        throw EKorvelError("Directivity " + std::to_string(number) + " does not exist.");
    TDirectivity d;
    const int type = IntField(table, "DirType", 1);
    const int bandType = IntField(table, "SpecType", 2);
    if (type < 0 || type > 2 || bandType < 0 || bandType > 2)
        throw EKorvelError("The directivity type or band type of this directivity is unknown.");
    const int stepH = IntField(table, "StepH", 5), stepV = IntField(table, "StepV", 5);
    if (!ValidStep(stepH, 360) || !ValidStep(stepV, 180))
        throw EKorvelError("The angle steps of this directivity are damaged.");
    d.dirType_ = static_cast<TDirType>(type);
    d.specType_ = static_cast<TSpecType>(bandType);
    d.stepH_ = stepH;
    d.stepV_ = stepV;
    d.items_.clear();
    d.SetBMinBMax(IntField(table, "BMin", 27), IntField(table, "BMax", 27));
    const std::vector<int> bands = d.BandList();

    if (db::TField* f = table.FindField("DirValues"); f && !f->IsNull() && !f->AsBytes().empty()) {
        const db::TBytes bytes = f->AsBytes();
        TReader r(bytes, "values");
        if (r.U16() != kBlobVersion)
            throw EKorvelError("The values of this directivity are of an unknown version.");
        const std::size_t count = r.U16(), rows = r.U16(), cols = r.U16();
        if (count != bands.size() || rows != static_cast<std::size_t>(d.ThetaCount()) ||
            cols != static_cast<std::size_t>(d.PhiCount()) || count * rows * cols > kMaxBlobValues)
            throw EKorvelError("The values of this directivity do not fit its bands and angle steps.");
        for (std::size_t i = 0; i < count; ++i) {
            TDirBandItem& item = d.items_[i];
            if (r.U16() != item.Band)
                throw EKorvelError("The values of this directivity do not fit its bands.");
            item.dLtot = r.F32();
            for (double& v : item.Values)
                v = r.F32();
        }
        r.End();
    }
    if (db::TField* f = table.FindField("Samples"); f && !f->IsNull() && !f->AsBytes().empty()) {
        const db::TBytes bytes = f->AsBytes();
        TReader r(bytes, "samples");
        if (r.U16() != kBlobVersion)
            throw EKorvelError("The samples of this directivity are of an unknown version.");
        const std::size_t perSample = r.U16();
        const std::size_t count = r.U32();
        if (perSample != bands.size() || count > kMaxBlobValues ||
            (8 + 4 * perSample) * count + 8 != bytes.size())
            throw EKorvelError("The samples of this directivity do not fit its bands.");
        for (std::size_t i = 0; i < count; ++i) {
            TSampleItem s;
            s.SetTheta(r.F32());
            s.SetPhi(r.F32());
            s.Values.resize(perSample);
            for (double& v : s.Values)
                v = r.F32();
            d.Samples.push_back(std::move(s));
        }
        r.End();
    }
    *this = std::move(d);
}

} // namespace korvel::acoustic
