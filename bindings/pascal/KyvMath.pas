{ KyvMath for Delphi and Free Pascal: the eight functions of the library as KyvMath.h declares them, and exceptions
  with the texts of the statuses.

  Windows (32 and 64 bits): KyvMath.dll beside the program. Linux: libKyvMath.so, at link time in a folder that
  -Fl names.

  The caller owns all memory, and nothing is kept after a call. The six working functions may run on any number of
  threads at once, on arrays that do not overlap where one of them is written. KyvMathInitialize and
  KyvMathTerminate must not overlap any other call: call the one before the first resize, the other after the last.
  They are not called by this unit, because a program and its DLLs, each with a copy of the unit, share one library. }
unit KyvMath;

{$ifdef FPC}
  {$mode delphi}
{$endif}

interface

uses
  SysUtils;

const
{$ifdef MSWINDOWS}
  KyvMathFile = 'KyvMath.dll';
{$else}
  {$ifdef FPC}
  KyvMathFile = 'KyvMath'; { for the linker: -lKyvMath }
  {$else}
  KyvMathFile = 'libKyvMath.so.1';
  {$endif}
{$endif}

type
  { What every function answers: one of the five below. }
  TKyvMathStatus = Cardinal;

const
  KYVMATH_OK = 0;
  { A size, region, step, format or mode that is not allowed, or no memory for a resize. }
  KYVMATH_RESIZE_FAILED = 2;
  { KyvMathInitialize or a conversion found no memory. }
  KYVMATH_FAILED = 10;
  { A resize before KyvMathInitialize or after KyvMathTerminate. }
  KYVMATH_NOT_INITIALIZED = 12;
  { A resize with a nil image or a size of zero. }
  KYVMATH_BAD_ARGUMENT = 96;

  { Modes: how a pixel is computed from those around its place in the source. }
  KYVMATH_NEAREST = 1;  { the nearest source pixel }
  KYVMATH_LINEAR = 2;   { weights fall off linearly, over 2 pixels }
  KYVMATH_CUBIC = 4;    { cubic interpolation (Lagrange), over 4 pixels }
  KYVMATH_SUPER = 8;    { super-sampling: the mean of the covered area; never enlarges }
  KYVMATH_LANCZOS = 16; { windowed sine, 3 lobes, over 6 pixels }

{ Starts the library; further calls do nothing. }
function KyvMathInitialize: TKyvMathStatus; cdecl; external KyvMathFile;

{ Gives back what KyvMathInitialize took. }
function KyvMathTerminate: TKyvMathStatus; cdecl; external KyvMathFile;

{ Resizes a whole image: 1, 3 or 4 interleaved channels, 8 or 16 bits per sample, steps in bytes from row to row. }
function KyvMathResize(Mode: Cardinal; Channels, BitsPerSample: Integer; Src: Pointer; SrcWidth, SrcHeight,
  SrcStep: Integer; Dst: Pointer; DstWidth, DstHeight, DstStep: Integer): TKyvMathStatus;
  {$ifdef MSWINDOWS}stdcall{$else}cdecl{$endif}; external KyvMathFile;

{ Resizes a region of the source image to the whole destination image. }
function KyvMathResizeWithRegion(Mode: Cardinal; Channels, BitsPerSample: Integer; Src: Pointer; SrcWidth, SrcHeight,
  SrcStep, RegionX, RegionY, RegionWidth, RegionHeight: Integer; Dst: Pointer; DstWidth, DstHeight,
  DstStep: Integer): TKyvMathStatus;
  {$ifdef MSWINDOWS}stdcall{$else}cdecl{$endif}; external KyvMathFile;

{ The conversions, in single precision and (_D) in double: the two-dimensional complex Fourier transform of each plane
  of a stack, and its inverse. A plane is Width runs of Height values: for a picture of rows, pass its number of rows
  as Width and of columns as Height. The origin of a point-spread function is its first element. Source and
  destination may be the same arrays. }
function KyvMathConvertOtfFromPsf(SrcReal, SrcImag, DstReal, DstImag: PDouble; Width, Height,
  Planes: Integer): TKyvMathStatus; {$ifdef MSWINDOWS}stdcall{$else}cdecl{$endif}; external KyvMathFile;
function KyvMathConvertPsfFromOtf(SrcReal, SrcImag, DstReal, DstImag: PDouble; Width, Height,
  Planes: Integer): TKyvMathStatus; {$ifdef MSWINDOWS}stdcall{$else}cdecl{$endif}; external KyvMathFile;
function KyvMathConvertOtfFromPsf_D(SrcReal, SrcImag, DstReal, DstImag: PDouble; Width, Height,
  Planes: Integer): TKyvMathStatus; {$ifdef MSWINDOWS}stdcall{$else}cdecl{$endif}; external KyvMathFile;
function KyvMathConvertPsfFromOtf_D(SrcReal, SrcImag, DstReal, DstImag: PDouble; Width, Height,
  Planes: Integer): TKyvMathStatus; {$ifdef MSWINDOWS}stdcall{$else}cdecl{$endif}; external KyvMathFile;

type
  { A status other than KYVMATH_OK, with its text. }
  EKyvMath = class(Exception)
  private
    FStatus: TKyvMathStatus;
  public
    constructor Create(AStatus: TKyvMathStatus);
    property Status: TKyvMathStatus read FStatus;
  end;

{ The text of a status. }
function KyvMathMessage(Status: TKyvMathStatus): string;

{ Raises EKyvMath unless the status is KYVMATH_OK. }
procedure KyvMathCheck(Status: TKyvMathStatus);

implementation

constructor EKyvMath.Create(AStatus: TKyvMathStatus);
begin
  inherited Create(KyvMathMessage(AStatus));
  FStatus := AStatus;
end;

function KyvMathMessage(Status: TKyvMathStatus): string;
begin
  case Status of
    KYVMATH_OK: Result := 'done';
    KYVMATH_RESIZE_FAILED: Result := 'the resize was rejected or ran out of memory';
    KYVMATH_FAILED: Result := 'out of memory';
    KYVMATH_NOT_INITIALIZED: Result := 'the library is not initialised';
    KYVMATH_BAD_ARGUMENT: Result := 'a pointer is null, a size is zero or two views do not match';
  else
    Result := 'unknown status';
  end;
end;

procedure KyvMathCheck(Status: TKyvMathStatus);
begin
  if Status <> KYVMATH_OK then
    raise EKyvMath.Create(Status);
end;

end.
