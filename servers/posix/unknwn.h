// What widl's headers take from <unknwn.h>: IUnknown, from the POSIX COM subset.
#pragma once

#include <ComApi.h>
