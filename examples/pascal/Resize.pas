{ KyvMath from Pascal: a thumbnail of a picture, and the modulation that a blur leaves. }
program Resize;

{$ifdef FPC}{$mode delphi}{$endif}

uses
  SysUtils, Math, KyvMath;

const
  Columns = 640; Rows = 480; Size = 64;

var
  Picture: array[0..Columns * Rows * 3 - 1] of Byte;
  Thumbnail: array[0..160 * 120 * 3 - 1] of Byte;
  Psf, Imag: array[0..Size * Size - 1] of Double;
  K: Integer;

begin
  { Coloured rings, 8-bit RGB. }
  for K := 0 to High(Picture) do
    Picture[K] := Round(127.5 + 127.5 * Cos((Sqr(K div 3 mod Columns - Columns div 2)
      + Sqr(K div 3 div Columns - Rows div 2)) / (900 + K mod 3 * 400)));
  KyvMathCheck(KyvMathInitialize);
  KyvMathCheck(KyvMathResize(KYVMATH_LANCZOS, 3, 8, @Picture[0], Columns, Rows, Columns * 3, @Thumbnail[0], 160, 120,
    160 * 3));
  KyvMathCheck(KyvMathTerminate);
  WriteLn('the pixel in the middle: ', Thumbnail[(60 * 160 + 80) * 3]);

  { A Gaussian PSF, its centre at element 0, wrapping around the borders; transformed in place. }
  for K := 0 to High(Psf) do
    Psf[K] := Exp(-(Sqr(Min(K mod Size, Size - K mod Size)) + Sqr(Min(K div Size, Size - K div Size))) / 8);
  KyvMathCheck(KyvMathConvertOtfFromPsf_D(@Psf[0], @Imag[0], @Psf[0], @Imag[0], Size, Size, 1));
  K := 0; { the OTF is real }
  while Psf[K] > Psf[0] / 2 do
    Inc(K);
  WriteLn('half of the contrast is left at ', K / Size:0:4, ' cycles per pixel');
end.
