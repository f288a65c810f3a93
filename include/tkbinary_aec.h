#ifndef TKBINARY_AEC_H
#define TKBINARY_AEC_H

#include "tkbinaryinterface.h"

/// @file
/// The configuration of the automatic exposure control. Gains, compensations and kV points are the
/// generator's own numbers.

/// One AEC channel. `Channel` selects it.
///
/// Generators of different revisions carry different fields: those below 150 the first four, those
/// from 150 on also the field compensations and film screen gains, of which they send the low byte,
/// and those from 300 on all of them. A field that isn't carried keeps its value.
///
/// The engine reads all four before it connects, and again after a loss, but not because the
/// application has written one; TkGeneratorStatus::getBinaryAecData copies them out.
class TKGEN_EXPORT TkBinary_AECSetup : public TkBinaryInterface {
    TKGEN_COPIED_RECORD(TkBinary_AECSetup);

  public:
    /// The generator has as many.
    static constexpr unsigned char CHANNELS = 4;

    TKGEN_PROPERTY(unsigned char, Channel);     ///< index, 0 to 3
    TKGEN_PROPERTY(unsigned char, Filmscreen);  ///< bit set of the channel's film screens, 0 to 2
    TKGEN_PROPERTY(unsigned char, Fields);      ///< fields
    TKGEN_PROPERTY(unsigned char, ChamberType); ///< type of the chamber
    TKGEN_PROPERTY(char, RightFieldComp);       ///< compensation of the right field
    TKGEN_PROPERTY(char, CenterFieldComp);      ///< compensation of the centre field
    TKGEN_PROPERTY(char, LeftFieldComp);        ///< compensation of the left field
    TKGEN_PROPERTY(unsigned short int, Filmscreen1Gain); ///< gain of film screen 0
    TKGEN_PROPERTY(unsigned short int, Filmscreen2Gain); ///< gain of film screen 1
    TKGEN_PROPERTY(unsigned short int, Filmscreen3Gain); ///< gain of film screen 2

    TKGEN_PROPERTY(unsigned char, Media);               ///< 1: no choice of film screen and fields
    TKGEN_PROPERTY(unsigned short int, DigitalRadGain); ///< gain for digital radiography
    TKGEN_PROPERTY(unsigned char, DigitalRadCurve);     ///< curve for digital radiography
    TKGEN_PROPERTY(unsigned char, Mag1SpotComp);        ///< spot films, magnification 1
    TKGEN_PROPERTY(unsigned char, Mag2SpotComp);        ///< spot films, magnification 2
    TKGEN_PROPERTY(unsigned char, Mag3SpotComp);        ///< spot films, magnification 3
    TKGEN_PROPERTY(unsigned char, Mag1DSAComp);         ///< DSA, magnification 1
    TKGEN_PROPERTY(unsigned char, Mag2DSAComp);         ///< DSA, magnification 2
    TKGEN_PROPERTY(unsigned char, Mag3DSAComp);         ///< DSA, magnification 3
    TKGEN_PROPERTY(unsigned char, Mag1CineComp);        ///< cine, magnification 1
    TKGEN_PROPERTY(unsigned char, Mag2CineComp);        ///< cine, magnification 2
    TKGEN_PROPERTY(unsigned char, Mag3CineComp);        ///< cine, magnification 3
};

/// The points of a kV curve, at the kV of their names.
#define TKGEN_KV_POINTS                                                                            \
    TKGEN_PROPERTY(unsigned short int, kv_50_Point);                                               \
    TKGEN_PROPERTY(unsigned short int, kv_55_Point);                                               \
    TKGEN_PROPERTY(unsigned short int, kv_65_Point);                                               \
    TKGEN_PROPERTY(unsigned short int, kv_75_Point);                                               \
    TKGEN_PROPERTY(unsigned short int, kv_85_Point);                                               \
    TKGEN_PROPERTY(unsigned short int, kv_95_Point);                                               \
    TKGEN_PROPERTY(unsigned short int, kv_110_Point);                                              \
    TKGEN_PROPERTY(unsigned short int, kv_130_Point);                                              \
                                                                                                   \
  private:                                                                                         \
    template <class Walk>                                                                          \
    void walkPoints(Walk &walk) {                                                                  \
        walk.fields(m_kv_50_Point, m_kv_55_Point, m_kv_65_Point, m_kv_75_Point, m_kv_85_Point,     \
                    m_kv_95_Point, m_kv_110_Point, m_kv_130_Point);                                \
    }                                                                                              \
                                                                                                   \
  public:                                                                                          \
    static_assert(true, "takes the semicolon behind the macro")

/// The kV calibration of one film screen. `filmscreen` selects it.
class TKGEN_EXPORT TkBinary_AECCalibration : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_AECCalibration);

    TKGEN_PROPERTY(unsigned char, filmscreen); ///< film screen
    TKGEN_KV_POINTS;
    TKGEN_PROPERTY(unsigned char, rlf_50ms_Comp);   ///< reciprocity law failure at 50 ms
    TKGEN_PROPERTY(unsigned char, rlf_500ms_Comp);  ///< reciprocity law failure at 500 ms
    TKGEN_PROPERTY(unsigned char, rlf_1000ms_Comp); ///< reciprocity law failure at 1000 ms
    TKGEN_PROPERTY(unsigned char, multiSpot_Comp);  ///< for several spots on a film
};

/// The kV calibration of one curve of digital radiography. `digitalRadCurve` selects it.
class TKGEN_EXPORT TkBinary_AECDigital : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_AECDigital);

    TKGEN_PROPERTY(unsigned char, digitalRadCurve); ///< curve
    TKGEN_KV_POINTS;
};

/// The steps of the density correction. There is none for 0.
class TKGEN_EXPORT TkBinary_AECDensity : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_AECDensity);

    TKGEN_PROPERTY(unsigned char, density_neg_8); ///< the deepest step
    TKGEN_PROPERTY(unsigned char, density_neg_7);
    TKGEN_PROPERTY(unsigned char, density_neg_6);
    TKGEN_PROPERTY(unsigned char, density_neg_5);
    TKGEN_PROPERTY(unsigned char, density_neg_4);
    TKGEN_PROPERTY(unsigned char, density_neg_3);
    TKGEN_PROPERTY(unsigned char, density_neg_2);
    TKGEN_PROPERTY(unsigned char, density_neg_1);
    TKGEN_PROPERTY(unsigned char, density_pos_1);
    TKGEN_PROPERTY(unsigned char, density_pos_2);
    TKGEN_PROPERTY(unsigned char, density_pos_3);
    TKGEN_PROPERTY(unsigned char, density_pos_4);
    TKGEN_PROPERTY(unsigned char, density_pos_5);
    TKGEN_PROPERTY(unsigned char, density_pos_6);
    TKGEN_PROPERTY(unsigned char, density_pos_7);
    TKGEN_PROPERTY(unsigned char, density_pos_8); ///< the highest step
};

/// The chambers of four AEC channels in one object, each with values and validity of its own. The
/// operations below work on the current channel.
///
/// A read names no channel, its reply does, and makes it the current one: four reads bring all
/// four. A read ends the validity of the channel that is current then: to have all four valid, call
/// setChannel with a number that is no channel's before each. Only mode 999 writes; any other mode
/// reads.
class TKGEN_EXPORT TkBinary_SCAEC_ChamberSetup : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_SCAEC_ChamberSetup);

  public:
    /// Selects the current channel, 0 to 3. All channels stay as valid as they are. Any other
    /// number selects values that belong to no channel and are never valid.
    void setChannel(unsigned char channel);

    // Each of these sets a value of the current channel and makes that channel not valid.
    void setModel(unsigned char model);
    void setFilmScreen1(unsigned short int gain);
    void setFilmScreen2(unsigned short int gain);
    void setFilmScreen3(unsigned short int gain);
    void setDSAGain(unsigned short int gain);

    unsigned char channel() const; ///< the current channel
    unsigned char model() const;
    unsigned short int filmScreen1() const;
    unsigned short int filmScreen2() const;
    unsigned short int filmScreen3() const;
    unsigned short int dsaGain() const;

    /// Whether all four channels are valid; isValid tells it of the current one.
    bool allValid() const;

  private:
    static constexpr std::size_t CHANNELS = 4;

    struct Chamber {
        unsigned char model = 0;
        unsigned short int filmScreen1 = 0;
        unsigned short int filmScreen2 = 0;
        unsigned short int filmScreen3 = 0;
        unsigned short int dsaGain = 0;
    };

    std::size_t instance() const;
    template <class Value>
    void set(Value Chamber::*field, Value value);
    const Chamber &current() const { return m_Chambers[instance()]; }

    unsigned char m_nChannel = 0;
    Chamber m_Chambers[CHANNELS + 1]; // the last belongs to no channel
};

#endif
