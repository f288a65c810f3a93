#ifndef TKBINARY_RECEPTORS_H
#define TKBINARY_RECEPTORS_H

#include "tkbinaryinterface.h"

/// One of the generator's six image receptors: what serves it, how it behaves, and the technique
/// values held for it. `Receptor` selects it. The values are the generator's own.
///
/// The engine reads all six before it connects, and again after a loss, but not because the
/// application has written one; TkGeneratorStatus::getBinaryReceptorData copies them out.
class TKGEN_EXPORT TkBinary_Receptors : public TkBinaryInterface {
    TKGEN_COPIED_RECORD(TkBinary_Receptors);

  public:
    /// The generator has as many.
    static constexpr unsigned char RECEPTORS = 6;

    TKGEN_PROPERTY(unsigned char, Receptor);       ///< index, 0 to 5
    TKGEN_PROPERTY(unsigned char, Tube);           ///< tube in use; 0: not enabled
    TKGEN_PROPERTY(unsigned char, Tomo);           ///< tomography; 0: none
    TKGEN_PROPERTY(unsigned char, Fluoro);         ///< fluoroscopy; 0: none
    TKGEN_PROPERTY(unsigned char, Serial);         ///< serial exposures; 0: none
    TKGEN_PROPERTY(unsigned char, AECChannel);     ///< AEC channel, 1 to 4; 0: none
    TKGEN_PROPERTY(unsigned char, Interface);      ///< interface
    TKGEN_PROPERTY(unsigned char, FluoroHang);     ///< hang time after fluoroscopy
    TKGEN_PROPERTY(unsigned char, RadHang);        ///< hang time after a radiographic exposure
    TKGEN_PROPERTY(unsigned char, LastImageHold);  ///< last image hold
    TKGEN_PROPERTY(unsigned char, Memory);         ///< memory
    TKGEN_PROPERTY(unsigned char, TomoBackupTime); ///< backup time for tomography
    TKGEN_PROPERTY(unsigned char, AutoFocus);      ///< automatic choice of the focus
    TKGEN_PROPERTY(unsigned char, AECBackupMODE);  ///< what backs up the AEC: 1 mAs, 2 ms
    TKGEN_PROPERTY(unsigned char, AECBackupMAS);   ///< its mAs
    TKGEN_PROPERTY(unsigned char, AECBackupMS);    ///< its ms
    TKGEN_PROPERTY(unsigned char, Kv);             ///< kV held for the receptor
    TKGEN_PROPERTY(unsigned char, Ma);             ///< mA held for the receptor
    TKGEN_PROPERTY(unsigned char, Ms);             ///< ms held for the receptor
    TKGEN_PROPERTY(unsigned char, Technique);      ///< technique
    TKGEN_PROPERTY(unsigned char, Focus);          ///< focus
    TKGEN_PROPERTY(unsigned char, Density);        ///< density
    TKGEN_PROPERTY(unsigned char, Filmscreen);     ///< film screen
    TKGEN_PROPERTY(unsigned char, Fields);         ///< AEC fields
    TKGEN_PROPERTY(unsigned char, Functional);     ///< functional state
    TKGEN_PROPERTY(unsigned char, AECLock);        ///< AEC lock; from revision 300
};

#endif
