{ The lines of probe.cpp, through KyvMath.pas; then what a host of another language may do to the floating-point unit. }
program Probe;

{$mode delphi}

uses
  SysUtils, Math, KyvMath;

const
  Columns = 61;
  Rows = 47;

var
  Failed: Boolean;

function HashOf(const Bytes: array of Byte): string;
var
  Hash: Cardinal;
  K: Integer;
begin
  Hash := 2166136261;
  for K := 0 to High(Bytes) do
    Hash := Cardinal(UInt64(Hash xor Bytes[K]) * 16777619);
  Result := LowerCase(IntToHex(Hash, 8));
end;

function HashOfDoubles(const Values: array of Double): string;
var
  Bytes: array of Byte;
begin
  SetLength(Bytes, Length(Values) * SizeOf(Double));
  Move(Values[0], Bytes[0], Length(Bytes));
  Result := HashOf(Bytes);
end;

procedure Resize(Mode: Cardinal; Channels, Bits, X, Y, W, H, Width, Height: Integer);
var
  Source, Target: array of Byte;
  K, Status: Cardinal;
  Sample: Integer;
begin
  Sample := Bits div 8;
  SetLength(Source, Columns * Rows * Channels * Sample);
  SetLength(Target, Width * Height * Channels * Sample);
  for K := 0 to Columns * Rows * Channels - 1 do
    if Sample = 1 then
      Source[K] := Byte(UInt64(K) * K * 7 + K * 31)
    else
      PWord(@Source[2 * K])^ := Word(UInt64(K) * K * 7 + K * 31);
  Status := KyvMathResizeWithRegion(Mode, Channels, Bits, @Source[0], Columns, Rows, Columns * Channels * Sample, X, Y,
    W, H, @Target[0], Width, Height, Width * Channels * Sample);
  Write('resize ', Mode, ' ', Channels, ' ', Bits, ' ', X, ' ', Width, ' ', Height, ': ', Status, ' ', HashOf(Target), #10);
end;

procedure Transform(Double_: Boolean);
const
  Plane_Columns = 10;
  Plane_Rows = 12;
  Planes = 3;
  Names: array[Boolean] of string = ('single', 'double');
type
  TConvert = function(SrcReal, SrcImag, DstReal, DstImag: PDouble; Width, Height, Planes: Integer): TKyvMathStatus;
    {$ifdef MSWINDOWS}stdcall{$else}cdecl{$endif};
var
  Real, Imag: array[0..Plane_Columns * Plane_Rows * Planes - 1] of Double;
  Otf, Psf: TConvert;
  K: Integer;
  Status: TKyvMathStatus;
begin
  Otf := KyvMathConvertOtfFromPsf;
  Psf := KyvMathConvertPsfFromOtf;
  if Double_ then
  begin
    Otf := KyvMathConvertOtfFromPsf_D;
    Psf := KyvMathConvertPsfFromOtf_D;
  end;
  for K := 0 to High(Real) do
  begin
    Real[K] := K * K mod 101 / 64;
    Imag[K] := 0;
  end;
  Status := Otf(@Real[0], @Imag[0], @Real[0], @Imag[0], Plane_Rows, Plane_Columns, Planes);
  Write('otf ', Names[Double_], ': ', Status, ' ', HashOfDoubles(Real), ' ', HashOfDoubles(Imag), #10);
  Status := Psf(@Real[0], @Imag[0], @Real[0], @Imag[0], Plane_Rows, Plane_Columns, Planes);
  Write('psf ', Names[Double_], ': ', Status, ' ', HashOfDoubles(Real), ' ', HashOfDoubles(Imag), #10);
end;

procedure Expect(Condition: Boolean; const What: string);
begin
  if Condition then
    Exit;
  WriteLn(ErrOutput, 'failed: ', What);
  Failed := True;
end;

{ A status raises its text; the whole-image form; the life cycle; unmasked exceptions and another rounding stay. }
procedure CheckTheRest;
var
  Source: array[0..15] of Byte;
  Target: array[0..3] of Byte;
  K: Integer;
begin
  for K := 0 to High(Source) do
    Source[K] := 0;
  Source[5] := 200;
  SetExceptionMask([exPrecision, exDenormalized, exUnderflow]);
  SetRoundMode(rmUp);
  KyvMathCheck(KyvMathResize(KYVMATH_SUPER, 1, 8, @Source[0], 4, 4, 4, @Target[0], 2, 2, 2));
  Expect(Target[0] = 50, 'KyvMathResize');
  Expect(GetRoundMode = rmUp, 'the rounding of the host');
  Expect(not (exZeroDivide in GetExceptionMask), 'the exceptions of the host');
  SetRoundMode(rmNearest);
  try
    KyvMathCheck(KyvMathResize(KYVMATH_SUPER, 1, 8, @Source[0], 2, 2, 4, @Target[0], 4, 1, 4));
    Expect(False, 'super-sampling that enlarges');
  except
    on E: EKyvMath do
      Expect((E.Status = KYVMATH_RESIZE_FAILED) and (E.Message = KyvMathMessage(2)), 'EKyvMath');
  end;
  Expect(KyvMathTerminate = KYVMATH_OK, 'KyvMathTerminate');
  Expect(KyvMathResize(KYVMATH_SUPER, 1, 8, @Source[0], 4, 4, 4, @Target[0], 2, 2, 2) = KYVMATH_NOT_INITIALIZED,
    'a resize after the end');
end;

const
  Modes: array[0..4] of Cardinal = (KYVMATH_NEAREST, KYVMATH_LINEAR, KYVMATH_CUBIC, KYVMATH_SUPER, KYVMATH_LANCZOS);
  ChannelCounts: array[0..2] of Integer = (1, 3, 4);
  Statuses: array[0..4] of Cardinal = (2, 10, 12, 96, 7);
var
  Bits, Mode, Count, K: Integer;
begin
  KyvMathCheck(KyvMathInitialize);
  for Bits := 1 to 2 do
    for Mode := 0 to High(Modes) do
      for Count := 0 to High(ChannelCounts) do
      begin
        Resize(Modes[Mode], ChannelCounts[Count], 8 * Bits, 0, 0, Columns, Rows, 30, 20);
        Resize(Modes[Mode], ChannelCounts[Count], 8 * Bits, 5, 7, 40, 30, 20, 15);
        Resize(Modes[Mode], ChannelCounts[Count], 8 * Bits, 5, 7, 40, 30, 80, 45);
      end;
  Transform(False);
  Transform(True);
  for K := 0 to High(Statuses) do
    Write('status ', Statuses[K], ': ', KyvMathMessage(Statuses[K]), #10);
  CheckTheRest;
  if Failed then
    Halt(1);
end.
