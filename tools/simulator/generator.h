#ifndef TKSIM_GENERATOR_H
#define TKSIM_GENERATOR_H

#include "exposure.h"
#include "records.h"

namespace tksim {

/// The generator behind the line: takes the console's frames and the panel's orders, answers, and
/// lets time pass as it is told. No bytes are lost or spoiled here, and nothing is read or written.
///
/// What it can't understand it answers with a NAK: a wrong sum, an unknown mnemonic, a value that
/// is no number, a mnemonic that its family lacks, and a record that its revision doesn't have.
class Generator {
  public:
    /// `utc` is what its clock tells at time 0, in seconds since 1970.
    Generator(Family family, int revision, double timeScale, std::int64_t utc);

    // The parts refer to each other.
    Generator(const Generator &) = delete;
    Generator &operator=(const Generator &) = delete;

    void receive(const Frame &frame, Milliseconds now);
    void advance(Milliseconds now);
    std::optional<Milliseconds> deadline() const;

    /// The hand switch and the pedal; false when they mean nothing in the present state.
    bool prep(Milliseconds now);
    bool expose(Milliseconds now);
    bool release(Milliseconds now);
    bool fluoro(bool on, Milliseconds now);

    void error(int code, Milliseconds now);

    /// Sends a latched error, and again every second until the console echoes it, five times at
    /// most.
    void latched(int code, Milliseconds now);

    /// Whether the panel has a value: any number of this family.
    bool changeable(std::string_view mnemonic) const;

    /// Changes a value that the panel has, holds it to its range and tells the console. False for a
    /// setting during a radiographic exposure, which changes nothing.
    bool change(std::string_view mnemonic, int value);

    /// Answers settings by a lone ACK instead of an echo, but for steps and program lines, whose
    /// outcome the console can't know.
    void answerByAck(bool on) { m_AnswerByAck = on; }

    /// Its record tells whether there is one.
    void setMeter(Meter meter, Milliseconds now);

    /// Never again answers a query of a mnemonic, nor tells it among others; with "record" no
    /// record. False for a mnemonic that the generator doesn't have.
    bool mute(std::string_view mnemonic);
    void unmute() {
        m_Muted.clear();
        m_RecordsMuted = false;
    }

    Records &records() { return m_Records; }
    int revision() const { return m_Parameters.revision(); }

    /// Prints every value.
    void show(Milliseconds now);

    /// What was said since the last call.
    GeneratorOutput takeOutput();

  private:
    struct LatchedError {
        int code, sent;
        Milliseconds next;
    };

    void refresh(Milliseconds now);
    bool muted(const Row &row) const;
    void answer(const Row &row, std::string_view value, Milliseconds now);
    void answerSetting(const Row &row, std::string_view value, Milliseconds now);
    void answerValue(const Row &row, std::string_view value);
    void answerSet(const Row &row, std::string_view value, Milliseconds now);
    void answerHandshake(const Row &row, std::string_view value, Milliseconds now);
    void answerProgram(std::string_view line, Milliseconds now);
    void setValue(const Row &row, int wanted, Milliseconds now);
    void stepValue(const Row &row, Parameters::Step step, Milliseconds now);
    void echoedError(const Row &row, std::string_view value);
    void sendError(int code, Milliseconds now);
    void logError(int code, Milliseconds now);
    void sendWithChanges(std::string items, std::vector<const Row *> rows,
                         const Parameters::Values &before);

    GeneratorOutput m_Output;
    Parameters m_Parameters;
    Records m_Records;
    TubeLoad m_Load{m_Parameters};
    Radiography m_Radiography;
    Fluoroscopy m_Fluoroscopy{m_Parameters, m_Load, m_Records.statistics(), m_Output};
    std::vector<LatchedError> m_Latched;
    std::vector<const Row *> m_Muted;
    bool m_RecordsMuted = false;
    bool m_AnswerByAck = false;
};

} // namespace tksim

#endif
