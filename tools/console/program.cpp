#include "program.h"

#include "arguments.h"
#include "generator_console.h"
#include "text_file.h"
#include "words.h"

#include <algorithm>
#include <set>
#include <sstream>

namespace {

/// All values in words of several lines each are nowhere near it.
constexpr std::uintmax_t longestFile = 16384;

struct Value {
    Tk::TextCommands parameter;
    void (TkAPR::*write)(int value);
};

/// What a program consists of, in the order in which the class declares it.
constexpr Value programValues[] = {
    {Tk::ET, &TkAPR::setRadiographicTechnique},
    {Tk::FI, &TkAPR::setRadiographicAECFields},
    {Tk::FS, &TkAPR::setRadiographicFilm},
    {Tk::FN, &TkAPR::setRadiographicDensity},
    {Tk::KV, &TkAPR::setRadiographicKv},
    {Tk::MA, &TkAPR::setRadiographicMa},
    {Tk::MS, &TkAPR::setRadiographicMs},
    {Tk::FO, &TkAPR::setGeneratorFocus},
    {Tk::WS, &TkAPR::setGeneratorWorkstation},
    {Tk::FLK, &TkAPR::setFluoroscopicKv},
    {Tk::FLM, &TkAPR::setFluoroscopicMa},
    {Tk::FLF, &TkAPR::setFluoroscopicMode},
    {Tk::FLA, &TkAPR::setFluoroscopicABS},
    {Tk::FLS, &TkAPR::setFluoroscopicPPS},
    {Tk::FLO, &TkAPR::setFluoroscopicABSCurve},
    {Tk::FLC, &TkAPR::setFluoroscopicRadCurve},
    {Tk::ATP, &TkAPR::setRoomAutoPosition},
    {Tk::FP, &TkAPR::setRoomRotationSelection},
    {Tk::ATA, &TkAPR::setTomoAngle},
    {Tk::ATC, &TkAPR::setTomoCutline},
    {Tk::AI, &TkAPR::setAPRCode},
};

const Value &valueNamed(const std::string &word) {
    const Tk::TextCommands parameter = packed(word);
    const auto *found =
        std::find_if(std::begin(programValues), std::end(programValues),
                     [parameter](const Value &each) { return each.parameter == parameter; });
    if (found == std::end(programValues)) {
        throw Failure("'" + word + "' is no value of a program");
    }
    return *found;
}

/// A program on its way from lines of text.
class Reader {
  public:
    void take(const std::string &line) {
        std::istringstream words(line.substr(0, line.find('#')));
        std::string mnemonic;
        std::string number;
        std::string more;
        if (!(words >> mnemonic)) {
            return;
        }
        const Value &value = valueNamed(mnemonic);
        if (!(words >> number) || words >> more) {
            throw Failure("a mnemonic and a number make a line");
        }
        if (!m_Named.insert(value.parameter).second) {
            throw Failure(mnemonicOf(value.parameter) + " stands there twice");
        }
        (m_Program.*value.write)(carried(value.parameter, plainNumberFrom(number)));
    }

    const TkAPR &program() const { return m_Program; }

  private:
    /// The number, if the line can carry it. The film screen goes over it as it stands, where a
    /// setting has 0, 1 or 2.
    static int carried(Tk::TextCommands parameter, int number) {
        if (parameter != Tk::FS && !GeneratorSession::isSendable(parameter, number)) {
            throw Failure("the line can't carry " + std::to_string(number));
        }
        return number;
    }

    TkAPR m_Program;
    std::set<Tk::TextCommands> m_Named;
};

} // namespace

TkAPR readProgram(const std::string &path) {
    Reader reader;
    readLines(path, longestFile, [&](const std::string &line) { reader.take(line); });
    return reader.program();
}
