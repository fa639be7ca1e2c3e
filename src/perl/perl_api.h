// Perl's headers. They define thousands of macros, so everything else is included in front of this header,
// and this folder alone includes it.
#pragma once

#include <EXTERN.h>
#define PERL_NO_GET_CONTEXT
#include <perl.h>
// behind perl.h
#include <XSUB.h>
