#ifndef TKCONSOLE_GENERATOR_CONSOLE_H
#define TKCONSOLE_GENERATOR_CONSOLE_H

#include "console.h"
#include "generator_session.h"
#include "messages.h"
#include "table.h"

#include "tkapr.h"
#include "tkgeneratorstatus.h"

/// The console with a generator at the far end: it also has the generator's table, its records and
/// programs, and a window.
class GeneratorConsole : public Console {
  public:
    GeneratorConsole(const Options &options, Input &input, Display &display,
                     GeneratorSession &session, const Wakeup &wakeup)
        : Console(options, input, display, session, wakeup), m_Generator(session),
          m_Table(display, session.engine()), m_Messages(display, session.engine()) {}

    GeneratorSession &generator() { return m_Generator; }
    TkGeneratorControl &engine() { return m_Generator.engine(); }
    TkGeneratorStatus status() { return TkGeneratorStatus(&engine()); }
    Table &table() { return m_Table; }
    Messages &messages() { return m_Messages; }

    /// Reads a record (mode 998) or writes it (999), and waits for the answer. One that the engine
    /// can't do because it is busy with another record is tried again for a while. False when no
    /// answer came; the record is the caller's alone in any case.
    bool exchange(TkBinaryInterface &record, int mode);

    /// Loads a program, and shows what the generator refused of it. Throws Failure then, and when
    /// it didn't answer.
    void load(TkAPR &program);

  private:
    void showMore(bool asking) override;
    Deadline nextLook(bool asking) const override;
    int moreFd() const override { return m_Messages.fd(); }

    GeneratorSession &m_Generator;
    Table m_Table;
    Messages m_Messages;
};

#endif
