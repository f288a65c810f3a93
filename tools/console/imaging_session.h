#ifndef TKCONSOLE_IMAGING_SESSION_H
#define TKCONSOLE_IMAGING_SESSION_H

#include "session.h"

#include "tkdispatchers.h"
#include "tkgehlcontrol.h"
#include "tkinfimedcontrol.h"

/// A parameter or command of an imaging console, and what can be sent of it.
struct ImagingWords {
    const char *name;
    Words words;
    int least, most;         ///< of the numbers that go out with it; none goes when least is more
    int leastRequest;        ///< of the requests up to Tk::REQUEST_QUERY that go out with it
    const char *description; ///< what it takes, for a person
};

/// A session with an imaging console, whose parameters a table names.
class ImagingSession : public Session {
  public:
    std::string objection(int command, int value) const override;
    const char *farEnd() const override { return "console"; }

    const std::vector<Words> &all() const override { return m_Words; }
    std::string name(int parameter) const override;
    std::optional<int> find(const std::string &name) const override;
    std::string description(int parameter) const override;
    std::size_t nameWidth() const override { return 20; }

  protected:
    ImagingSession(TkComms &device, const Wakeup &wakeup, const std::vector<ImagingWords> &table);

  private:
    const ImagingWords *row(int parameter) const;

    const std::vector<ImagingWords> &m_Table;
    std::vector<Words> m_Words; // of the table
};

class InfimedSession : public SessionWith<ImagingSession, TkInfimedControl, TkInfimedDispatcher> {
  public:
    InfimedSession(TkComms &device, const Wakeup &wakeup);
    ~InfimedSession() override { stop(); }

    int value(int parameter) const override { return m_Engine.getInfimedParam(parameter); }
    bool transmit(int command, int value, bool wait) override {
        return m_Engine.transmitMsg(command, value, wait);
    }
    const char *loss() const override { return "connection lost, acquire is unknown"; }

  private:
    void told(int parameter) { note({Kind::event, parameter, value(parameter)}); }

    void infimed_aquire_changed() override { told(TkInfimedControl::ACQUIRE); }
    void infimed_edge_changed() override { told(TkInfimedControl::EDGE); }
    void infimed_window_changed() override { told(TkInfimedControl::WINDOW); }
    void infimed_level_changed() override { told(TkInfimedControl::LEVEL); }
    void infimed_mask_changed() override { told(TkInfimedControl::MASK); }
    void infimed_horiz_reverse_changed() override { told(TkInfimedControl::HORIZ_REVERSE); }
    void infimed_vert_reverse_changed() override { told(TkInfimedControl::VERT_REVERSE); }
    void infimed_invert_changed() override { told(TkInfimedControl::INVERT); }
    void infimed_version_changed() override { told(TkInfimedControl::VERSION); }
    void infimed_error_message() override;
};

class GEHLSession : public SessionWith<ImagingSession, TkGEHLControl, TkGEHLDispatcher> {
  public:
    GEHLSession(TkComms &device, const Wakeup &wakeup);
    ~GEHLSession() override { stop(); }

    int value(int parameter) const override { return m_Engine.getGEHLParam(parameter); }
    bool transmit(int command, int value, bool wait) override {
        return m_Engine.transmitMsg(command, value, wait);
    }
    const char *loss() const override {
        return "connection lost, the console's values are unknown";
    }

  private:
    void told(int parameter) { note({Kind::event, parameter, value(parameter)}); }

    void gehl_state_changed() override { told(TkGEHLControl::STATE); }
    void gehl_frame_rate_changed() override { told(TkGEHLControl::FRAME_RATE); }
    void gehl_fluoro_acquire_changed() override { told(TkGEHLControl::FLUORO_ACQUIRE); }
    void gehl_store_loop_changed() override { told(TkGEHLControl::STORE_LOOP); }
    void gehl_horz_reverse_changed() override { told(TkGEHLControl::HORIZ_REVERSE); }
    void gehl_vert_reverse_changed() override { told(TkGEHLControl::VERT_REVERSE); }
    void gehl_receptor_changed() override { told(TkGEHLControl::RECEPTOR); }
};

#endif
