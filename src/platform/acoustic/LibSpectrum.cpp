#include "platform/acoustic/LibSpectrum.h"

#include "platform/Errors.h"
#include "platform/acoustic/RwRating.h"
#include "platform/acoustic/Weighting.h"
#include "platform/base/Blob.h"
#include "platform/base/MyTable.h"
#include "platform/db/Table.h"
#include "platform/settings/PathText.h"

#include <algorithm>
#include <cmath>

namespace korvel::acoustic {

namespace {

// Field names of the spectrum data; the common element fields are those of every library.
constexpr const char* kFSpecType = "SpecType";
constexpr const char* kFBMin = "BMin";
constexpr const char* kFBMax = "BMax";
constexpr const char* kFSpectrum = "Spectrum";
constexpr const char* kFSumValue = "SumValue";
constexpr const char* kFColor = "Color";
constexpr const char* kFAddProp = "AddProp";

db::TField* Field(db::TTable& t, const char* name) {
    return t.FindField(name);
}

bool Usable(const db::TField* f) {
    return f && !f->IsNull();
}

TBandValues ReadBandBlob(db::TTable& t, const char* name, const char* what) {
    TBandValues out;
    out.fill(kEmptyBandLevel);
    db::TField* f = Field(t, name);
    if (!Usable(f))
        return out;
    const db::TBytes bytes = f->AsBytes();
    if (bytes.empty())
        return out;
    const auto arr = ReadFloatArrayOrDefault(bytes, kBandCount, static_cast<float>(kEmptyBandLevel));
    if (arr.UsedDefaults)
        throw EKorvelError(std::string("The ") + what + " of this element is damaged: " + arr.Message + ".");
    for (int i = 0; i < kBandCount; ++i)
        out[static_cast<std::size_t>(i)] = arr.Values[static_cast<std::size_t>(i)];
    return out;
}

void WriteBandBlob(db::TTable& t, const char* name, const TBandValues& values) {
    db::TField* f = Field(t, name);
    if (!f)
        return;
    std::array<float, kBandCount> floats{};
    for (int i = 0; i < kBandCount; ++i) {
        const double v = values[static_cast<std::size_t>(i)];
        floats[static_cast<std::size_t>(i)] = static_cast<float>(IsEmptyBandLevel(v) ? kEmptyBandLevel : v);
    }
    f->SetAsBytes(FloatsToBlob(floats));
}

double ReadFloat(db::TTable& t, const char* name, double def) {
    db::TField* f = Field(t, name);
    return Usable(f) ? f->AsFloat() : def;
}

int ReadInt(db::TTable& t, const char* name, int def) {
    db::TField* f = Field(t, name);
    return Usable(f) ? f->AsInteger() : def;
}

void WriteFloat(db::TTable& t, const char* name, double v) {
    if (db::TField* f = Field(t, name))
        f->SetAsFloat(v);
}

void WriteInt(db::TTable& t, const char* name, int v) {
    if (db::TField* f = Field(t, name))
        f->SetAsInteger(v);
}

void ReadVarList(db::TTable& t, const char* name, formula::TVarList& list) {
    db::TField* f = Field(t, name);
    formula::TVarList read;
    if (Usable(f))
        read.FromBlob(f->AsBytes());
    list = std::move(read);
}

void WriteVarList(db::TTable& t, const char* name, const formula::TVarList& list) {
    if (db::TField* f = Field(t, name))
        f->SetAsBytes(list.ToBlob());
}

template <class E> E EnumFrom(int v, int count, E def) {
    return v >= 0 && v < count ? static_cast<E>(v) : def;
}

double Round1(double v) {
    return std::round(v * 10.0) / 10.0;
}

} // namespace

TCustomLibSpectrum::TCustomLibSpectrum() {
    values_.fill(kEmptyBandLevel);
}

void TCustomLibSpectrum::Assign(const TCustomLibSpectrum& other) {
    if (other.LibType() != LibType())
        throw EKorvelError("A spectrum of another library kind cannot be taken over.");
    if (&other != this)
        AssignFrom(other);
}

void TCustomLibSpectrum::SetSpecType(TSpecType type) {
    specType_ = type;
    SetBMinBMax(bmin_, bmax_);
}

void TCustomLibSpectrum::SetBMinBMax(int bmin, int bmax) {
    NormalizeBandRange(specType_, bmin, bmax);
    bmin_ = bmin;
    bmax_ = bmax;
}

std::vector<int> TCustomLibSpectrum::Bands() const {
    if (specType_ == TSpecType::SingleValue)
        return {};
    return BandsInRange(specType_, bmin_, bmax_);
}

bool TCustomLibSpectrum::InRange(int band) const {
    if (specType_ == TSpecType::SingleValue || band < bmin_ || band > bmax_)
        return false;
    return specType_ != TSpecType::Octave || IsOctaveBand(band);
}

double TCustomLibSpectrum::GetValue(int band) const {
    if (band < 0 || band >= kBandCount)
        return kEmptyBandLevel;
    const double v = values_[static_cast<std::size_t>(band)];
    return IsEmptyBandLevel(v) ? kEmptyBandLevel : v;
}

void TCustomLibSpectrum::SetValue(int band, double value) {
    if (band < 0 || band >= kBandCount)
        return;
    values_[static_cast<std::size_t>(band)] = IsEmptyBandLevel(value) ? kEmptyBandLevel : value;
}

void TCustomLibSpectrum::ClearValues() {
    values_.fill(kEmptyBandLevel);
}

double TCustomLibSpectrum::EnergeticSum(const TBandValues& values) const {
    double energy = 0;
    bool any = false;
    for (int b : Bands()) {
        const double v = values[static_cast<std::size_t>(b)];
        if (IsEmptyBandLevel(v))
            continue;
        energy += std::pow(10.0, v / 10.0);
        any = true;
    }
    return any && energy > 0 ? 10.0 * std::log10(energy) : kEmptyBandLevel;
}

double TCustomLibSpectrum::ArithmeticMean() const {
    double total = 0;
    int n = 0;
    for (int b : Bands()) {
        const double v = GetValue(b);
        if (!IsEmptyBandLevel(v)) {
            total += v;
            ++n;
        }
    }
    return n > 0 ? total / n : kEmptyBandLevel;
}

double TCustomLibSpectrum::GetValueSum() const {
    if (specType_ == TSpecType::SingleValue)
        return single_;
    return EnergeticSum(values_);
}

void TCustomLibSpectrum::SetValueSum(double sum) {
    if (specType_ == TSpecType::SingleValue) {
        single_ = sum;
        return;
    }
    ShiftToSum(sum, GetValueSum(), [this](int b, double level) { SetValue(b, level); });
}

void TCustomLibSpectrum::ShiftToSum(double sum, double current,
                                    const std::function<void(int, double)>& setFlat) {
    const std::vector<int> bands = Bands();
    if (bands.empty())
        return;
    if (IsEmptyBandLevel(current)) {
        // Nothing to keep the shape of: a flat spectrum with that sum.
        const double level = sum - 10.0 * std::log10(static_cast<double>(bands.size()));
        for (int b : bands)
            setFlat(b, level);
        return;
    }
    // A uniform shift moves weighted and unweighted values alike.
    const double delta = sum - current;
    for (int b : bands)
        if (!IsEmptyBandLevel(values_[static_cast<std::size_t>(b)]))
            values_[static_cast<std::size_t>(b)] += delta;
}

void TCustomLibSpectrum::SetLinkedFile(int slot, const std::string& fileName) {
    if (slot < 0 || slot >= kLinkedFileSlots)
        throw EKorvelError("There is no linked document " + std::to_string(slot + 1) + ".");
    if (!fileName.empty() && !IsPlainFileName(fileName))
        throw EKorvelError("\"" + fileName +
                           "\" is not a plain file name: linked documents must lie beside the library.");
    LinkedFiles[static_cast<std::size_t>(slot)] = fileName;
}

void TCustomLibSpectrum::ReadFromLibrary(TMyTable& myTable, const TAddPropDefList& defs, int elementNo) {
    db::TTable* table = myTable.GetTable();
    if (!table || !table->Active())
        throw EKorvelError("The library is not open.");
    if (elementNo != -999 && !table->Locate("Eintrag", {db::TValue(std::int64_t{elementNo})}))
        throw EKorvelError("Element " + std::to_string(elementNo) + " does not exist.");
    (void)defs; // every stored property is kept, known to the definitions or not

    // Read into a copy so that a damaged field leaves this object untouched.
    std::unique_ptr<TCustomLibSpectrum> read = Clone();
    db::TTable& t = *table;
    read->specType_ = EnumFrom(ReadInt(t, kFSpecType, 0), 3, TSpecType::ThirdOctave);
    read->bmin_ = ReadInt(t, kFBMin, bmin_);
    read->bmax_ = ReadInt(t, kFBMax, bmax_);
    read->SetBMinBMax(read->bmin_, read->bmax_);
    read->values_ = ReadBandBlob(t, kFSpectrum, "spectrum");
    read->single_ = ReadFloat(t, kFSumValue, kEmptyBandLevel);
    for (int i = 0; i < kGroupSlots; ++i)
        read->Groups[static_cast<std::size_t>(i)] =
            ReadInt(t, ("Gruppen" + std::to_string(i + 1)).c_str(), 0);
    read->Color = static_cast<std::uint32_t>(ReadInt(t, kFColor, static_cast<int>(Color))) & 0xFFFFFFu;
    if (db::TField* f = Field(t, kFAddProp); Usable(f))
        read->AddProps.FromBlob(f->AsBytes());
    else
        read->AddProps.Items.clear();
    for (int i = 0; i < kLinkedFileSlots; ++i) {
        db::TField* f = Field(t, ("OLE" + std::to_string(i + 1)).c_str());
        read->LinkedFiles[static_cast<std::size_t>(i)] = Usable(f) ? f->AsString() : std::string();
    }
    read->ReadKindFields(t);
    AssignFrom(*read);
}

void TCustomLibSpectrum::SaveToLibrary(TMyTable& myTable, const std::string& name) {
    db::TTable* table = myTable.GetTable();
    if (!table || !table->Editing())
        throw EKorvelError("The element \"" + name + "\" is not being edited.");
    db::TTable& t = *table;
    WriteInt(t, kFSpecType, static_cast<int>(specType_));
    WriteInt(t, kFBMin, bmin_);
    WriteInt(t, kFBMax, bmax_);
    WriteBandBlob(t, kFSpectrum, values_);
    for (int i = 0; i < kGroupSlots; ++i)
        WriteInt(t, ("Gruppen" + std::to_string(i + 1)).c_str(), Groups[static_cast<std::size_t>(i)]);
    WriteInt(t, kFColor, static_cast<int>(Color & 0xFFFFFFu));
    if (db::TField* f = Field(t, kFAddProp))
        f->SetAsBytes(AddProps.ToBlob());
    for (int i = 0; i < kLinkedFileSlots; ++i)
        if (db::TField* f = Field(t, ("OLE" + std::to_string(i + 1)).c_str()))
            f->SetAsString(LinkedFiles[static_cast<std::size_t>(i)]);
    // The over-all value that filters compare; a kind may write its own in WriteKindFields.
    WriteFloat(t, kFSumValue, GetValueSum());
    WriteKindFields(t);
}

void TCustomLibSpectrum::ReadKindFields(db::TTable&) {}
void TCustomLibSpectrum::WriteKindFields(db::TTable&) {}

// --- emission

std::unique_ptr<TCustomLibSpectrum> TEmisLibSpectrum::Clone() const {
    return std::make_unique<TEmisLibSpectrum>(*this);
}

void TEmisLibSpectrum::SetdBX(char letter) {
    weighting_ = IsWeightingLetter(letter) ? letter : kUnweighted;
}

void TEmisLibSpectrum::ReWeight(char letter) {
    if (!IsWeightingLetter(letter))
        letter = kUnweighted;
    if (specType_ != TSpecType::SingleValue)
        for (int b = 0; b < kBandCount; ++b) {
            double& v = values_[static_cast<std::size_t>(b)];
            if (!IsEmptyBandLevel(v))
                v += WeightingOffset(weighting_, b) - WeightingOffset(letter, b);
        }
    weighting_ = letter;
}

double TEmisLibSpectrum::GetdBXValue(int band) const {
    const double v = GetValue(band);
    return IsEmptyBandLevel(v) ? kEmptyBandLevel : v + WeightingOffset(weighting_, band);
}

void TEmisLibSpectrum::SetdBXValue(int band, double value) {
    SetValue(band, IsEmptyBandLevel(value) ? kEmptyBandLevel : value - WeightingOffset(weighting_, band));
}

double TEmisLibSpectrum::GetdBXValueSum() const {
    if (specType_ == TSpecType::SingleValue)
        return single_;
    TBandValues weighted;
    for (int b = 0; b < kBandCount; ++b)
        weighted[static_cast<std::size_t>(b)] = GetdBXValue(b);
    return EnergeticSum(weighted);
}

void TEmisLibSpectrum::SetdBXValueSum(double sum) {
    if (specType_ == TSpecType::SingleValue) {
        single_ = sum;
        return;
    }
    ShiftToSum(sum, GetdBXValueSum(), [this](int b, double level) { SetdBXValue(b, level); });
}

void TEmisLibSpectrum::ReadKindFields(db::TTable& t) {
    const std::string letter = Usable(Field(t, "dBX")) ? Field(t, "dBX")->AsString() : std::string("A");
    weighting_ = !letter.empty() && IsWeightingLetter(letter[0]) ? letter[0] : kUnweighted;
    EmisRef = EnumFrom(ReadInt(t, "EmisRef", 0), 3, TEmisRef::PerUnit);
    EntryType = EnumFrom(ReadInt(t, "EmisEntrytype", 0), 4, TEmisEntrytype::Spectrum);
    HeightAboveGround = ReadFloat(t, "HeightAboveGround", 0);
    Sigma = ReadFloat(t, "Sigma", 0);
    Directivity = ReadInt(t, "Directivity", 0);
    ReadVarList(t, "VarListIn", VarsIn);
    ReadVarList(t, "VarListOut", VarsOut);
    ReadVarList(t, "VarlistLoc", VarsLocal);
    db::TField* f = Field(t, "Formula");
    FormulaText = Usable(f) ? f->AsString() : std::string();
}

void TEmisLibSpectrum::WriteKindFields(db::TTable& t) {
    if (db::TField* f = Field(t, "dBX"))
        f->SetAsString(std::string(1, weighting_));
    WriteInt(t, "EmisRef", static_cast<int>(EmisRef));
    WriteInt(t, "EmisEntrytype", static_cast<int>(EntryType));
    WriteFloat(t, "HeightAboveGround", HeightAboveGround);
    WriteFloat(t, "Sigma", Sigma);
    WriteInt(t, "Directivity", Directivity);
    WriteVarList(t, "VarListIn", VarsIn);
    WriteVarList(t, "VarListOut", VarsOut);
    WriteVarList(t, "VarlistLoc", VarsLocal);
    if (db::TField* f = Field(t, "Formula"))
        f->SetAsString(FormulaText);
    // Filters compare the over-all level as shown: the weighted sum.
    WriteFloat(t, kFSumValue, GetdBXValueSum());
}

// --- absorption

TAbsoLibSpectrum::TAbsoLibSpectrum() {
    scat_.fill(kEmptyBandLevel);
}

std::unique_ptr<TCustomLibSpectrum> TAbsoLibSpectrum::Clone() const {
    return std::make_unique<TAbsoLibSpectrum>(*this);
}

double TAbsoLibSpectrum::GetValueSum() const {
    return ArithmeticMean();
}

double TAbsoLibSpectrum::GetScatValue(int band) const {
    if (band < 0 || band >= kBandCount)
        return kEmptyBandLevel;
    const double v = scat_[static_cast<std::size_t>(band)];
    return IsEmptyBandLevel(v) ? kEmptyBandLevel : v;
}

void TAbsoLibSpectrum::SetScatValue(int band, double value) {
    if (band >= 0 && band < kBandCount)
        scat_[static_cast<std::size_t>(band)] = IsEmptyBandLevel(value) ? kEmptyBandLevel : value;
}

void TAbsoLibSpectrum::ReadKindFields(db::TTable& t) {
    scat_ = ReadBandBlob(t, "ScatValues", "scattering coefficients");
}

void TAbsoLibSpectrum::WriteKindFields(db::TTable& t) {
    WriteBandBlob(t, "ScatValues", scat_);
}

// --- transmission

std::unique_ptr<TCustomLibSpectrum> TTransLibSpectrum::Clone() const {
    return std::make_unique<TTransLibSpectrum>(*this);
}

std::string TTransLibSpectrum::RechneRwCCtr() {
    if (specType_ == TSpecType::SingleValue)
        return {};
    TBandValues inRange;
    inRange.fill(kEmptyBandLevel);
    for (int b : Bands())
        inRange[static_cast<std::size_t>(b)] = GetValue(b);
    const TRwRating r = RateRwCCtr(inRange, specType_);
    if (!r.Ok)
        return r.Message;
    Rw = r.Rw;
    C = r.C;
    Ctr = r.Ctr;
    return {};
}

void TTransLibSpectrum::ReadKindFields(db::TTable& t) {
    TransType = EnumFrom(ReadInt(t, "TransType", 0), 2, TTransType::SoundReductionIndex);
    Rw = Round1(ReadFloat(t, "Rw", 0));
    C = Round1(ReadFloat(t, "C", 0));
    Ctr = Round1(ReadFloat(t, "Ctr", 0));
    BauteilTyp = ReadInt(t, "BauteilTyp", 0);
}

void TTransLibSpectrum::WriteKindFields(db::TTable& t) {
    WriteInt(t, "TransType", static_cast<int>(TransType));
    WriteFloat(t, "Rw", Rw);
    WriteFloat(t, "C", C);
    WriteFloat(t, "Ctr", Ctr);
    WriteInt(t, "BauteilTyp", BauteilTyp);
}

// --- attenuation

std::unique_ptr<TCustomLibSpectrum> TAttenLibSpectrum::Clone() const {
    return std::make_unique<TAttenLibSpectrum>(*this);
}

double TAttenLibSpectrum::GetValueSum() const {
    return specType_ == TSpecType::SingleValue ? single_ : ArithmeticMean();
}

void TAttenLibSpectrum::SetValueSum(double sum) {
    if (specType_ == TSpecType::SingleValue) {
        single_ = sum;
        return;
    }
    const double current = GetValueSum();
    const double delta = IsEmptyBandLevel(current) ? 0.0 : sum - current;
    for (int b : Bands()) {
        double& v = values_[static_cast<std::size_t>(b)];
        v = IsEmptyBandLevel(v) ? sum : v + delta;
    }
}

void TCustomLibSpectrum::SetFromBands(const TBandValues& bands) {
    const TSpectrumPara para = GetSpectrumPara(bands);
    if (!para.Empty()) {
        if (para.First == para.Last && HasSingleValue()) {
            SetSpecType(TSpecType::SingleValue);
            SetSingleValue(bands[static_cast<std::size_t>(para.First)]);
        } else {
            SetSpecType(para.Octave ? TSpecType::Octave : TSpecType::ThirdOctave);
        }
        SetBMinBMax(para.First, para.Last);
    }
    for (int b = 0; b < kBandCount; ++b)
        SetValue(b, bands[static_cast<std::size_t>(b)]);
}

std::unique_ptr<TCustomLibSpectrum> CreateLibSpectrum(int libType) {
    switch (libType) {
    case kEmissionLibType:
        return std::make_unique<TEmisLibSpectrum>();
    case kAbsorptionLibType:
        return std::make_unique<TAbsoLibSpectrum>();
    case kTransmissionLibType:
        return std::make_unique<TTransLibSpectrum>();
    case kAttenuationLibType:
        return std::make_unique<TAttenLibSpectrum>();
    default:
        return nullptr;
    }
}

} // namespace korvel::acoustic
