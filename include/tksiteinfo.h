#ifndef TKSITEINFO_H
#define TKSITEINFO_H

/// How the relay tells an application of a site. Both texts end with a zero byte.
struct SITEINFO {
    bool control;           ///< the site is a control; otherwise it is a client
    char address[1024];     ///< dotted decimal
    char description[1024]; ///< as the site gave it
};

#endif
